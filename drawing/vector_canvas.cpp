#include "drawing/vector_canvas.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "drawing/blend.h"
#include "drawing/shapes.h"
#include "drawing/tints.h"

namespace kvjob {
namespace {

constexpr uint8_t kSourceCopy = 0xCC;

size_t points_of(const Path& path) {
    return std::accumulate(path.begin(), path.end(), size_t{0},
                           [](size_t sum, const PathEntry& entry) { return sum + entry.points.size(); });
}

}  // namespace

VectorCanvas::VectorCanvas(const Options& options, Pictures& pictures) : options_(options), pictures_(pictures) {
    reset_context();
    if (!options.blending) return;
    cairo_set_source_rgb(context_.get(), 1, 1, 1);
    cairo_paint(context_.get());
}

void VectorCanvas::reset_context() {
    in_group_ = false;
    context_.reset(cairo_create(options_.surface));
    cairo_translate(context_.get(), options_.place.left, options_.place.top);
    cairo_scale(context_.get(), options_.place.scale, options_.place.scale);
}

// Viewers draw a line of no width as thin as they can; a tenth of a point prints as such.
double VectorCanvas::hairline() const {
    constexpr double kPoints = 0.1;
    return kPoints / options_.place.scale;
}

// Cairo writes advances as whole thousandths.
double VectorCanvas::written_advance(double advance) const {
    constexpr double kThousand = 1000, kExact = 1e-6;
    return options_.pdf ? std::floor(advance * kThousand + kExact) / kThousand : advance;
}

void VectorCanvas::check() {
    const cairo_status_t status = cairo_status(context_.get());
    if (status == CAIRO_STATUS_SUCCESS) return;
    reset_context();
    set_clip(Clip(clip_));
    throw BodyFault(std::string("cannot be drawn: ") + cairo_status_to_string(status));
}

// Cairo writes a clip path before everything that is drawn under it; a group has it once.
void VectorCanvas::set_clip(const Clip& clip) {
    constexpr size_t kLongPath = 64;  // points
    clip_ = clip;
    place_run();  // under the clip that the context has still
    if (beside_) beside_->set_clip(clip);
    end_group();
    cairo_reset_clip(context_.get());
    if (std::holds_alternative<std::monostate>(clip)) return;
    clip_by(clip);
    const auto* path = std::get_if<Path>(&clip);
    if (!path || points_of(*path) < kLongPath) return;
    cairo_push_group(context_.get());
    cairo_reset_clip(context_.get());  // within the group; the page keeps it
    in_group_ = true;
}

void VectorCanvas::end_group() {
    if (!std::exchange(in_group_, false)) return;
    cairo_pop_group_to_source(context_.get());
    cairo_paint(context_.get());
    check();
}

void VectorCanvas::finish_page() {
    place_run();
    end_group();
    if (all_pixels()) pending_ = {0, 0, options_.beside.width, options_.beside.height};
    place_pending();
    pictures_.end_page();
}

void VectorCanvas::clip_by(const Clip& clip) {
    cairo_new_path(context_.get());
    cairo_set_fill_rule(context_.get(), CAIRO_FILL_RULE_EVEN_ODD);
    if (const auto* rects = std::get_if<std::vector<Rect>>(&clip)) {
        cairo_set_fill_rule(context_.get(), CAIRO_FILL_RULE_WINDING);
        for (const Rect& rect : *rects) {
            cairo_rectangle(context_.get(), rect.left, rect.top, double{1} * rect.right - rect.left,
                            double{1} * rect.bottom - rect.top);
        }
    } else {
        add_path(context_.get(), std::get<Path>(clip));
    }
    cairo_clip(context_.get());
}

void VectorCanvas::draw(const Shape& shape, uint8_t rop, const Tint& tint) {
    if (draws_nothing(rop, tint)) return;
    place_run();
    const std::optional<Tint> plain = copied(rop, tint);
    auto put = [&](RasterCanvas& canvas) { canvas.draw(shape, rop, tint); };
    auto bounds = [&] { return shape.extents(context_.get()); };
    if (!all_pixels()) {
        if (plain) {
            settle(bounds);
            set_source(context_.get(), *plain);
            shape.paint(context_.get());
            check();
        }
        if (plain || blend(shape, rop, tint)) {
            if (beside_) put(*beside_);
            ++moment_.call;
            return;
        }
    }
    put_beside(bounds(), put);
}

// A group has nothing of the page to blend with.
bool VectorCanvas::blend(const Shape& shape, uint8_t rop, const Tint& tint) {
    if (!options_.blending || rop_reads_source(rop) || (rop_reads_pattern(rop) && tint.kind == Tint::Kind::Tile)) {
        return false;
    }
    const std::optional<Blend> blend = blend_of(RasterOp(rop), tint.colour, 0);
    if (!blend) return false;
    end_group();
    settle([&] { return shape.extents(context_.get()); });
    for (const auto& [operation, colour, neutral] : kBlendSteps) {
        if ((*blend).*colour == neutral) continue;
        cairo_set_operator(context_.get(), operation);
        set_source(context_.get(), Tint::of((*blend).*colour));
        shape.paint(context_.get());
    }
    cairo_set_operator(context_.get(), CAIRO_OPERATOR_OVER);
    check();
    return true;
}

void VectorCanvas::draw_image(PixelSource& pixels, const Rect& target, uint8_t rop, const Tint& tint) {
    if (draws_nothing(rop, tint)) return;
    auto put = [&](RasterCanvas& canvas) { canvas.draw_image(pixels, target, rop, tint); };
    if (!all_pixels() && place_picture(pixels, target, rop, tint)) {
        if (beside_) put(*beside_);
        ++moment_.call;
        return;
    }
    put_beside(RasterCanvas::bounds_of(ordered(target)), put);
}

bool VectorCanvas::place_picture(const PixelSource& pixels, const Rect& target, uint8_t rop, const Tint& tint) {
    std::vector<PictureLayer> layers;
    if (rop == kSourceCopy) {
        const auto copy = pictures_.copy_of(pixels);
        if (!copy) return false;
        layers.push_back(*copy);
    } else {
        if (rop_reads_pattern(rop) && tint.kind == Tint::Kind::Tile) return false;
        auto found = pictures_.layers_of(pixels, rop, tint.colour, options_.blending);
        if (!found) return false;
        layers = std::move(*found);
    }
    if (joins_run(layers, target)) {
        settle([&] { return RasterCanvas::bounds_of(target); });
        if (!run_.add(layers[0], target)) {
            place_run();
            run_.add(layers[0], target);
        }
        return true;
    }
    place_run();
    const bool blends = std::any_of(layers.begin(), layers.end(),
                                    [](const PictureLayer& layer) { return layer.operation != CAIRO_OPERATOR_OVER; });
    if (blends) end_group();
    settle([&] { return RasterCanvas::bounds_of(ordered(target)); });
    for (const PictureLayer& layer : layers) place_layer(layer, target);
    return true;
}

// One small stencil that is as fine as the device's pixels.
bool VectorCanvas::joins_run(const std::vector<PictureLayer>& layers, const Rect& target) {
    constexpr int64_t kMostPixels = 16384;
    if (layers.size() != 1 || !layers[0].stencil_colour || target.empty()) return false;
    const int64_t width = int64_t{target.right} - target.left, height = int64_t{target.bottom} - target.top;
    return width == cairo_image_surface_get_width(layers[0].surface) &&
           height == cairo_image_surface_get_height(layers[0].surface) && width * height <= kMostPixels;
}

void VectorCanvas::place_run() {
    if (run_.empty()) return;
    const StencilRun run = std::exchange(run_, {});
    if (run.is_one()) return place_layer(run.first(), run.area());
    const Surface stencils = run.joined();
    placed_ += image_bytes(stencils.get());
    place_layer({CAIRO_OPERATOR_OVER, stencils.get(), run.first().stencil_colour}, run.area());
}

void VectorCanvas::place_layer(const PictureLayer& layer, const Rect& target) {
    const double width = cairo_image_surface_get_width(layer.surface),
                 height = cairo_image_surface_get_height(layer.surface);
    const double across = double{1} * target.right - target.left, down = double{1} * target.bottom - target.top;
    if (across == 0 || down == 0) return;
    const Pattern pattern(cairo_pattern_create_for_surface(layer.surface));
    cairo_pattern_set_filter(pattern.get(), CAIRO_FILTER_NEAREST);
    cairo_save(context_.get());
    // Cairo names a surface among the page's resources at each use; within a group it has a place of its own.
    if (layer.repeated) cairo_push_group(context_.get());
    cairo_translate(context_.get(), target.left, target.top);
    cairo_scale(context_.get(), across / width, down / height);
    if (!layer.repeated) cairo_set_operator(context_.get(), layer.operation);
    if (layer.stencil_colour) {
        set_source(context_.get(), Tint::of(*layer.stencil_colour));
        cairo_mask(context_.get(), pattern.get());
    } else {
        cairo_set_source(context_.get(), pattern.get());
        cairo_rectangle(context_.get(), 0, 0, width, height);
        cairo_fill(context_.get());
    }
    if (layer.repeated) {
        cairo_pop_group_to_source(context_.get());
        cairo_set_operator(context_.get(), layer.operation);
        cairo_paint(context_.get());
    }
    cairo_restore(context_.get());
    check();
}

RasterCanvas& VectorCanvas::beside() {
    if (!beside_) {
        auto made = std::make_unique<RasterCanvas>(options_.beside);
        options_.replay(*made, moment_);
        made->set_clip(clip_);
        beside_ = std::move(made);
    }
    return *beside_;
}

void VectorCanvas::put_beside(const Box& bounds, const std::function<void(RasterCanvas&)>& put) {
    place_run();
    RasterCanvas& pixels = beside();
    ++moment_.call;
    end_group();
    put(pixels);
    take_from_beside(pixels.affected(bounds));
}

void VectorCanvas::take_from_beside(const Rect& area) {
    if (area.empty() || all_pixels()) return;
    pending_ = pending_.empty() ? area : united(pending_, area);
}

// What is waiting to be placed goes on the page before something is drawn over it.
void VectorCanvas::settle(const std::function<Box()>& bounds) {
    if (pending_.empty()) return;
    if (intersection(pending_, beside().affected(bounds())).empty()) return;
    place_run();
    place_pending();
}

// Puts an area of the page beside over this one.
void VectorCanvas::place_pending() {
    const Rect area = std::exchange(pending_, {});
    if (area.empty()) return;
    const int width = area.right - area.left, height = area.bottom - area.top;
    Surface copy = make_image(CAIRO_FORMAT_RGB24, width, height);
    {
        PixelAccess to(copy.get()), from(beside().surface());
        for (int y = 0; y < height; ++y) std::copy_n(from.pixels(area.top + y) + area.left, width, to.pixels(y));
    }
    placed_ += uint64_t{4} * static_cast<uint64_t>(width) * static_cast<uint64_t>(height);
    end_group();
    cairo_save(context_.get());
    cairo_reset_clip(context_.get());
    cairo_identity_matrix(context_.get());
    cairo_scale(context_.get(), 1 / options_.beside_dots_per_point, 1 / options_.beside_dots_per_point);
    cairo_set_source_surface(context_.get(), copy.get(), area.left, area.top);
    cairo_pattern_set_filter(cairo_get_source(context_.get()), CAIRO_FILTER_NEAREST);
    cairo_rectangle(context_.get(), area.left, area.top, width, height);
    cairo_fill(context_.get());
    cairo_restore(context_.get());
    check();
}

}  // namespace kvjob
