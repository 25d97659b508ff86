#include "drawing/page_rows.h"

#include <algorithm>
#include <cmath>

namespace kvjob {

namespace {

struct Enough {};

class CanvasUntil : public Canvas {
public:
    CanvasUntil(Canvas& canvas, const Moment& until) : canvas_(canvas), until_(until) {}

    void begin_record() override {
        now_ = {now_.record + 1, 0};
        if (now_.record > until_.record) throw Enough();
        canvas_.begin_record();
    }
    void set_clip(const Clip& clip) override { canvas_.set_clip(clip); }
    void draw(const Shape& shape, uint8_t rop, const Tint& tint) override {
        count();
        canvas_.draw(shape, rop, tint);
    }
    void draw_image(PixelSource& pixels, const Rect& target, uint8_t rop, const Tint& tint) override {
        count();
        canvas_.draw_image(pixels, target, rop, tint);
    }
    double scale() const override { return canvas_.scale(); }
    double hairline() const override { return canvas_.hairline(); }

private:
    void count() {
        if (now_.record == until_.record && now_.call++ == until_.call) throw Enough();
    }
    Canvas& canvas_;
    Moment until_, now_;
};

}  // namespace

void JobPainter::paint_until(size_t page, Canvas& canvas, const Moment& until) {
    Reports nobody([](uint64_t, const std::string&) {});
    PagePainter painter(map_, brushes_, texts_, nobody);
    CanvasUntil part(canvas, until);
    try {
        painter.paint(page, part);
    } catch (const Enough&) {
    }
}

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
    constexpr int kMargin = 2;  // rows: cairo draws the first and last rows of a surface a little coarser
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
    const int margin = most >= place.height ? 0 : kMargin, step = most - 2 * margin;
    for (int top = 0; top < place.height; top += step) {
        const int first = std::max(0, top - margin), end = std::min(place.height, top + step + margin);
        Placement band = place;
        band.top -= first;
        band.height = end - first;
        RasterCanvas canvas(band);
        painter.paint(page, canvas);
        PixelAccess pixels(canvas.surface());
        for (int y = top; y < std::min(place.height, top + step); ++y) {
            sink({pixels.pixels(y - first), static_cast<size_t>(width)});
        }
    }
}

}  // namespace kvjob
