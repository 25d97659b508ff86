#include "drawing/raster_canvas.h"

#include <cmath>

#include "drawing/shapes.h"
#include "drawing/tints.h"

namespace kvjob {
namespace {

constexpr uint32_t kOpaque = 0xFF000000;
constexpr double kFarthest = 1 << 28;  // output pixels

int32_t pixel_below(double value) { return static_cast<int32_t>(std::floor(std::clamp(value, -kFarthest, kFarthest))); }
int32_t pixel_above(double value) { return static_cast<int32_t>(std::ceil(std::clamp(value, -kFarthest, kFarthest))); }
// The same for every band of a page, whatever row it begins with.
int32_t nearest_edge(double value) { return pixel_below(value + 0.5); }

uint32_t mixed(uint32_t page, uint32_t colour, uint32_t coverage) {
    if (coverage == 255) return colour | kOpaque;
    auto channel = [&](int shift) {
        const uint32_t from = page >> shift & 0xFF, to = colour >> shift & 0xFF;
        return (from * (255 - coverage) + to * coverage + 127) / 255 << shift;
    };
    return kOpaque | channel(16) | channel(8) | channel(0);
}

// Premultiplied pixels over the page.
uint32_t composed(uint32_t page, uint32_t pixel, uint32_t coverage) {
    const uint32_t alpha = (pixel >> 24) * coverage / 255;
    auto channel = [&](int shift) {
        const uint32_t from = page >> shift & 0xFF, over = (pixel >> shift & 0xFF) * coverage;
        return std::min(255u, (over + from * (255 - alpha) + 127) / 255) << shift;
    };
    return kOpaque | channel(16) | channel(8) | channel(0);
}

Box bounds_of_path(const Path& path) {
    Rect box = kEmptyRect;
    for (const PathEntry& entry : path) {
        for (const auto& [x, y] : entry.points) {
            box = {std::min(box.left, x), std::min(box.top, y), std::max(box.right, x), std::max(box.bottom, y)};
        }
    }
    if (box == kEmptyRect) return {};
    return RasterCanvas::bounds_of(box);
}

}  // namespace

RasterCanvas::RasterCanvas(const Placement& place)
    : place_(place),
      all_{0, 0, place.width, place.height},
      page_(make_image(CAIRO_FORMAT_RGB24, place.width, place.height)) {
    context_ = make_context(page_.get(), all_);
    cairo_set_source_rgb(context_.get(), 1, 1, 1);
    cairo_paint(context_.get());
    clip_bounds_ = open_ = all_;
}

// A context whose user space is the job's device pixels, on a surface of an area of the page.
Context RasterCanvas::make_context(cairo_surface_t* surface, const Rect& area) const {
    Context context(cairo_create(surface));
    cairo_translate(context.get(), place_.left - area.left, place_.top - area.top);
    cairo_scale(context.get(), place_.scale, place_.scale);
    return context;
}

Box RasterCanvas::bounds_of(const Shape& shape) { return shape.extents(context_.get()); }

Box RasterCanvas::bounds_of(const Rect& target) {
    return {double{1} * target.left, double{1} * target.top, double{1} * target.right, double{1} * target.bottom};
}

Rect RasterCanvas::affected(const Box& box) const {
    // A pixel more on each side, for what antialiasing touches.
    const Rect rounded = {pixel_below(place_.left + box.left * place_.scale) - 1,
                          pixel_below(place_.top + box.top * place_.scale) - 1,
                          pixel_above(place_.left + box.right * place_.scale) + 1,
                          pixel_above(place_.top + box.bottom * place_.scale) + 1};
    return intersection(rounded, clip_bounds_);
}

// Adds the clip to the context's path.
void RasterCanvas::draw_clip(cairo_t* context) const {
    if (const auto* rects = std::get_if<std::vector<Rect>>(&clip_)) {
        for (const Rect& rect : *rects) {
            cairo_rectangle(context, rect.left, rect.top, double{1} * rect.right - rect.left,
                            double{1} * rect.bottom - rect.top);
        }
    } else if (const auto* path = std::get_if<Path>(&clip_)) {
        add_path(context, *path);
        cairo_set_fill_rule(context, CAIRO_FILL_RULE_EVEN_ODD);
    }
}

void RasterCanvas::set_clip(const Clip& clip) {
    clip_ = clip;
    clip_coverage_.reset();
    clip_bounds_ = open_ = all_;
    cairo_reset_clip(context_.get());
    if (std::holds_alternative<std::monostate>(clip)) return;
    open_ = {};
    Box box = {};
    if (const auto* rects = std::get_if<std::vector<Rect>>(&clip_)) {
        Rect bounds = {};
        for (const Rect& rect : *rects) bounds = united(bounds, rect);
        box = bounds_of(bounds);
        if (rects->size() == 1) {
            open_ = {pixel_above(place_.left + box.left * place_.scale),
                     pixel_above(place_.top + box.top * place_.scale),
                     pixel_below(place_.left + box.right * place_.scale),
                     pixel_below(place_.top + box.bottom * place_.scale)};
        }
        cairo_new_path(context_.get());
        draw_clip(context_.get());
        cairo_clip(context_.get());
    } else {
        box = bounds_of_path(std::get<Path>(clip_));
    }
    clip_bounds_ = affected(box);
}

bool RasterCanvas::clip_is_open(const Rect& area) const { return contains(open_, area); }

const RasterCanvas::Layer& RasterCanvas::clip_coverage() {
    if (clip_coverage_) return *clip_coverage_;
    const Rect& area = clip_bounds_;
    Layer layer = {area, make_image(CAIRO_FORMAT_A8, area.right - area.left, area.bottom - area.top)};
    const Context context = make_context(layer.surface.get(), area);
    draw_clip(context.get());
    cairo_fill(context.get());
    clip_coverage_ = std::make_unique<Layer>(std::move(layer));
    return *clip_coverage_;
}

RasterCanvas::Layer RasterCanvas::coverage_of(const Shape& shape, const Rect& area) {
    Layer layer = {area, make_image(CAIRO_FORMAT_A8, area.right - area.left, area.bottom - area.top)};
    const Context context = make_context(layer.surface.get(), area);
    shape.paint(context.get());
    return layer;
}

void RasterCanvas::restrict_to_clip(Layer& coverage) {
    const Rect& area = coverage.area;
    if (clip_is_open(area)) return;
    const Layer& clip = clip_coverage();
    PixelAccess rows(coverage.surface.get()), clip_rows(clip.surface.get());
    const auto width = static_cast<size_t>(area.right - area.left);
    for (int y = area.top; y < area.bottom; ++y) {
        uint8_t* row = rows.bytes(y - area.top);
        const uint8_t* limit = clip_rows.bytes(y - clip.area.top) + (area.left - clip.area.left);
        for (size_t x = 0; x < width; ++x) row[x] = static_cast<uint8_t>((row[x] * limit[x] + 127) / 255);
    }
}

RasterCanvas::Layer RasterCanvas::tint_layer(const Tint& tint, const Rect& area) const {
    Layer layer = {area, make_image(CAIRO_FORMAT_RGB24, area.right - area.left, area.bottom - area.top)};
    const Context context = make_context(layer.surface.get(), area);
    set_source(context.get(), tint);
    cairo_paint(context.get());
    return layer;
}

// Cairo's contexts stay useless after an error.
void RasterCanvas::check(cairo_t* context) {
    const cairo_status_t status = cairo_status(context);
    if (status == CAIRO_STATUS_SUCCESS) return;
    if (context == context_.get()) {
        context_ = make_context(page_.get(), all_);
        set_clip(Clip(clip_));
    }
    throw BodyFault(std::string("cannot be drawn: ") + cairo_status_to_string(status));
}

void RasterCanvas::draw(const Shape& shape, uint8_t rop, const Tint& tint) {
    if (draws_nothing(rop, tint)) return;
    const std::optional<Tint> plain = copied(rop, tint);
    if (plain && has_simple_clip()) {
        set_source(context_.get(), *plain);
        shape.paint(context_.get());
        return check(context_.get());
    }
    const Rect area = affected(bounds_of(shape));
    check(context_.get());
    if (area.empty()) return;
    Layer coverage = coverage_of(shape, area);
    restrict_to_clip(coverage);
    combine(coverage, rop, tint, nullptr);
}

// Lays the operation's result over the page within the coverage.
void RasterCanvas::combine(const Layer& coverage, uint8_t rop, const Tint& tint, const ReducedSource* source) {
    const Rect& area = coverage.area;
    Layer tints = {};
    if (tint.kind == Tint::Kind::Tile && rop_reads_pattern(rop)) tints = tint_layer(tint, area);
    PixelAccess page(page_.get()), covered(coverage.surface.get());
    std::unique_ptr<PixelAccess> patterns;
    if (tints.surface) patterns = std::make_unique<PixelAccess>(tints.surface.get());
    const RasterOp operation(rop);
    const auto width = static_cast<size_t>(area.right - area.left);
    for (int y = area.top; y < area.bottom; ++y) {
        uint32_t* row = page.pixels(y) + area.left;
        const uint8_t* part = covered.bytes(y - area.top);
        const uint32_t* pattern = patterns ? patterns->pixels(y - area.top) : nullptr;
        const uint32_t* of_source = source ? source->pixels.row(y) + (area.left - source->pixels.area.left) : nullptr;
        for (size_t x = 0; x < width; ++x) {
            if (part[x] == 0) continue;
            const uint32_t brush = pattern ? pattern[x] : tint.colour;
            auto of = [&](uint32_t pixel) { return operation(brush, pixel, row[x]); };
            const uint32_t result = of_source ? source->colours.mean(of_source[x], of) : of(0);
            row[x] = mixed(row[x], result, part[x]);
        }
    }
}

// Edges of images fall on pixels, so that bands of one picture join without a seam.
Rect RasterCanvas::target_of(const Rect& target) const {
    auto edges = [&](int32_t first, int32_t second, double origin, int32_t& from, int32_t& to) {
        from = nearest_edge(origin + first * place_.scale);
        to = nearest_edge(origin + second * place_.scale);
        if (from == to) second >= first ? ++to : ++from;
    };
    Rect pixels = {};
    edges(target.left, target.right, place_.left, pixels.left, pixels.right);
    edges(target.top, target.bottom, place_.top, pixels.top, pixels.bottom);
    return pixels;
}

void RasterCanvas::draw_image(PixelSource& pixels, const Rect& target, uint8_t rop, const Tint& tint) {
    constexpr uint8_t kSourceCopy = 0xCC;
    if (draws_nothing(rop, tint)) return;
    Resampler resampler(pixels.width(), pixels.height(), target_of(target), clip_bounds_);
    if (resampler.nothing_visible()) return;
    ReducedSource source;
    pixels.read([&](std::span<const uint32_t> row) {
        if (rop != kSourceCopy) source.colours.add(row);
        resampler.add_row(row);
    });
    source.pixels = resampler.take();
    const PixelBlock& block = source.pixels;
    const Rect& area = block.area;
    Layer coverage = {area, make_image(CAIRO_FORMAT_A8, area.right - area.left, area.bottom - area.top)};
    {
        PixelAccess rows(coverage.surface.get());
        for (int y = 0; y < area.bottom - area.top; ++y)
            std::fill_n(rows.bytes(y), area.right - area.left, uint8_t{255});
    }
    restrict_to_clip(coverage);
    if (rop != kSourceCopy) return combine(coverage, rop, tint, &source);
    PixelAccess page(page_.get()), covered(coverage.surface.get());
    const auto width = static_cast<size_t>(area.right - area.left);
    for (int y = area.top; y < area.bottom; ++y) {
        uint32_t* row = page.pixels(y) + area.left;
        const uint8_t* part = covered.bytes(y - area.top);
        const uint32_t* from = block.row(y);
        for (size_t x = 0; x < width; ++x) {
            const bool whole = part[x] == 255 && from[x] >> 24 == 255;
            row[x] = whole ? from[x] : composed(row[x], from[x], part[x]);
        }
    }
}

}  // namespace kvjob
