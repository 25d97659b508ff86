#include "report/pictures.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <unordered_map>

#include "drawing/png_writer.h"
#include "drawing/render_job.h"
#include "drawing/resample.h"
#include "report/base64.h"

namespace kvjob {
namespace {

constexpr uint32_t kOpaque = 0xFF000000;

class Kept : public Output {
public:
    void write(Bytes more) override { bytes_.insert(bytes_.end(), more.begin(), more.end()); }
    void finish() override {}
    const std::vector<uint8_t>& bytes() const { return bytes_; }

private:
    std::vector<uint8_t> bytes_;
};

// Pixels as indices into the colours that they have, where these are few: most pages have, and take a third of the
// bytes.
class Palette {
public:
    explicit Palette(std::span<const uint32_t> pixels) {
        constexpr size_t kMost = 256;
        const uint32_t* before = nullptr;
        for (const uint32_t& pixel : pixels) {
            if (before && *before == pixel) continue;  // as most are
            before = &pixel;
            if (!indices_.emplace(pixel, static_cast<uint8_t>(colours_.size())).second) continue;
            if (colours_.size() == kMost) {
                few_ = false;
                break;
            }
            colours_.push_back(pixel);
        }
        last_ = pixels.front();  // the first colour's index is 0
    }
    bool few() const { return few_; }
    std::span<const uint32_t> colours() const { return colours_; }
    uint8_t index_of(uint32_t pixel) {
        if (pixel != last_) last_index_ = indices_.at(last_ = pixel);
        return last_index_;
    }

private:
    bool few_ = true;
    std::vector<uint32_t> colours_;
    uint32_t last_ = 0;
    uint8_t last_index_ = 0;
    std::unordered_map<uint32_t, uint8_t> indices_;
};

// 32 steps a channel, black and white among them.
uint32_t coarse(uint32_t pixel) {
    constexpr uint32_t kSteps = 0xF8F8F8;
    return (pixel & kSteps) | ((pixel & kSteps) >> 5 & 0x070707);
}

Json png_json(std::vector<uint32_t> pixels, int width, int height) {
    if (pixels.empty()) throw BodyFault("a picture without pixels");
    std::optional<Palette> palette(pixels);
    if (!palette->few()) {  // the soft edges of coloured letters alone may be more
        std::vector<uint32_t> rounded_pixels(pixels.size());
        std::ranges::transform(pixels, rounded_pixels.begin(), coarse);
        palette.emplace(rounded_pixels);
        if (palette->few()) pixels = std::move(rounded_pixels);
    }
    const auto columns = static_cast<size_t>(width);
    Kept file;
    const PngImage rgb = {width, height, PngFormat::Rgb};
    const PngImage indexed = {width, height, PngFormat::Indexed, 8, palette->colours()};
    PngWriter png(file, palette->few() ? indexed : rgb);
    std::vector<uint8_t> indices(columns);
    for (std::span<const uint32_t> rest = pixels; !rest.empty(); rest = rest.subspan(columns)) {
        const auto row = rest.first(columns);
        if (!palette->few()) {
            png.write_row(row.data());
            continue;
        }
        std::ranges::transform(row, indices.begin(), [&](uint32_t pixel) { return palette->index_of(pixel); });
        png.write_row(indices.data());
    }
    png.finish();
    return {{"width", width}, {"height", height}, {"data", base64(file.bytes())}};
}

std::vector<uint32_t> pixels_of(RasterCanvas& canvas, int width, int height) {
    std::vector<uint32_t> pixels;
    PixelAccess access(canvas.surface());
    for (int y = 0; y < height; ++y) pixels.insert(pixels.end(), access.pixels(y), access.pixels(y) + width);
    return pixels;
}

// A bitmap's pixel over white.
uint32_t over_white(const FoundImage& found, uint32_t pixel) {
    constexpr uint32_t kPerPixel = 0x01000000, kWhite = 0xFFFFFF;
    const Body body = type_info(found.record.type).body;
    if (body == Body::Transparent) {
        const auto& [red, green, blue, flags] = found.image->colour;
        if (found.picture.is_key(pixel, static_cast<uint32_t>(red << 16 | green << 8 | blue))) return kOpaque | kWhite;
    }
    if (body == Body::AlphaBlend && found.image->blend & kPerPixel && found.picture.depth() == 32) {
        const uint32_t rest = 255 - (pixel >> 24);
        auto channel = [&](int shift) { return std::min(255u, (pixel >> shift & 0xFF) + rest) << shift; };
        return kOpaque | channel(16) | channel(8) | channel(0);
    }
    return kOpaque | pixel;
}

Box bounds_of(const std::vector<PlacedGlyph>& glyphs, const FontDefinition& font, double ascent, double descent) {
    const Baseline line = baseline_of(font);
    Box box = {glyphs[0].x, glyphs[0].y, glyphs[0].x, glyphs[0].y};
    for (const PlacedGlyph& glyph : glyphs) {
        for (const double along : {0.0, glyph.advance}) {
            for (const double up : {ascent, -descent}) {
                const double x = glyph.x + along * line.cosine - up * line.sine;
                const double y = glyph.y - along * line.sine - up * line.cosine;
                box = {std::min(box.left, x), std::min(box.top, y), std::max(box.right, x), std::max(box.bottom, y)};
            }
        }
    }
    return box;
}

TextRun first_of(const TextRun& run, size_t count) {
    TextRun part = run;
    part.count = std::min(count, run.count);
    for (auto* list : {&part.characters, &part.glyphs, &part.advances, &part.offsets}) {
        if (!list->empty()) list->resize(part.count);
    }
    part.x = part.y = 0;
    part.opaque.reset();
    return part;
}

}  // namespace

Json page_picture(JobPainter& painter, size_t page, const IndexedPage& index, PictureSize size) {
    auto [resolution, dots, memory] = size;
    const double inches = double{1} * index.width / resolution * index.height / resolution;
    if (inches > 0) dots = std::min(dots, std::sqrt(kPagePixels / inches));
    const Placement place = place_page(index, dots / resolution);
    std::vector<uint32_t> pixels;
    draw_rows(painter, page, place, memory, [&](PixelRow row) { pixels.insert(pixels.end(), row.begin(), row.end()); });
    Json json = png_json(std::move(pixels), place.width, place.height);
    json["scale"] = place.scale;
    return json;
}

Json thumbnail(const FoundImage& found) {
    constexpr double kSide = 200;
    const Picture& picture = found.picture;
    const double shrink = std::min(1.0, kSide / std::max(picture.width(), picture.height()));
    const Rect target = {0, 0, std::max(1, static_cast<int>(picture.width() * shrink)),
                         std::max(1, static_cast<int>(picture.height() * shrink))};
    Resampler resampler(picture.width(), picture.height(), target, target);
    std::vector<uint32_t> changed;
    picture.read([&](int32_t, Picture::Row row) {
        changed.resize(row.size());
        std::ranges::transform(row, changed.begin(), [&](uint32_t pixel) { return over_white(found, pixel); });
        resampler.add_row(changed);
    });
    return png_json(resampler.take().pixels, target.right, target.bottom);
}

Json sample_line(TextPainter& painter, const TextRun& run, const FontDefinition& font, Face* face) {
    constexpr double kEm = 28, kLongest = 800, kLongestTurned = 240, kMargin = 4;  // pixels
    constexpr int kMostPixels = 1000;
    constexpr TextState kBlack = {.changed = 0xF8, .font = 0, .colour = 0};
    const double em = std::abs(double{1} * font.height);
    if (em == 0 || !face) return nullptr;
    const double scale = kEm / em, longest = baseline_of(font).cosine == 1 ? kLongest : kLongestTurned;
    size_t count = 0;
    for (double along = 0; count < run.count; ++count) {
        along += std::abs(static_cast<int16_t>(run.advances[count])) * scale;
        if (along > longest) break;
    }
    if (count == 0) return nullptr;
    const TextRun part = first_of(run, count);
    const Box box = bounds_of(place_glyphs(part, font, face), font, face->ascent() * em, face->descent() * em);
    auto length = [&](double pixels) { return static_cast<int>(std::ceil(pixels * scale + 2 * kMargin)); };
    const int width = length(box.right - box.left), height = length(box.bottom - box.top);
    if (!(width > 0 && width <= kMostPixels && height > 0 && height <= kMostPixels)) return nullptr;
    RasterCanvas canvas({scale, kMargin - box.left * scale, kMargin - box.top * scale, width, height});
    TextState state = kBlack;
    state.font = font.id;
    painter.draw(part, state, canvas);
    return png_json(pixels_of(canvas, width, height), width, height);
}

}  // namespace kvjob
