#include "drawing/page_rows.h"

#include <algorithm>
#include <cmath>

namespace kvjob {

Placement place_page(const IndexedPage& page, double scale) {
    if (page.width <= 0 || page.height <= 0) throw std::runtime_error("a page has no area");
    auto length = [&](int32_t pixels) {
        const double scaled = std::ceil(pixels * scale - 1e-6);
        return static_cast<int>(std::clamp(scaled, 1.0, 1e9));
    };
    return {scale, page.printable.left * scale, page.printable.top * scale, length(page.width), length(page.height)};
}

void draw_rows(JobPainter& painter, size_t page, const Placement& place, uint64_t memory,
               const std::function<void(PixelRow row)>& sink) {
    constexpr int kLargestSide = 32767, kFewestRows = 16;  // the one of cairo's images
    constexpr int kMostRows = 4 * kLargestSide;
    constexpr uint64_t kMostPixels = uint64_t{1} << 31;
    const auto width = static_cast<uint64_t>(place.width);
    if (place.width > kLargestSide || place.height > kMostRows ||
        width * static_cast<uint64_t>(place.height) > kMostPixels) {
        throw std::runtime_error("a page is too large at this resolution; lower it with -r");
    }
    const uint64_t rows = memory / (width * kBytesPerPixel);
    if (rows < static_cast<uint64_t>(std::min(kFewestRows, place.height))) {
        throw std::runtime_error("a page needs more memory at this resolution; raise it with --memory");
    }
    const auto most = static_cast<int>(std::min<uint64_t>(rows, kLargestSide));
    for (int top = 0; top < place.height; top += most) {
        Placement band = place;
        band.top -= top;
        band.height = std::min(most, place.height - top);
        RasterCanvas canvas(band);
        painter.paint(page, canvas);
        PixelAccess pixels(canvas.surface());
        for (int y = 0; y < band.height; ++y) sink({pixels.pixels(y), static_cast<size_t>(width)});
    }
}

}  // namespace kvjob
