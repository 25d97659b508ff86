#include "drawing/pdf_canvas.h"

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <utility>

#include "drawing/resample.h"
#include "drawing/shapes.h"
#include "drawing/tints.h"

namespace kvjob {
namespace {

constexpr int32_t kLargestSide = 32000;  // of cairo's images, rounded down

void attach_jpeg(cairo_surface_t* surface, Bytes stream) {
    auto* copy = static_cast<unsigned char*>(std::malloc(stream.size()));
    if (!copy) throw std::bad_alloc();
    std::copy(stream.begin(), stream.end(), copy);
    const auto status =
        cairo_surface_set_mime_data(surface, CAIRO_MIME_TYPE_JPEG, copy, stream.size(), std::free, copy);
    if (status != CAIRO_STATUS_SUCCESS) std::free(copy);
}

size_t points_of(const Path& path) {
    return std::accumulate(path.begin(), path.end(), size_t{0},
                           [](size_t sum, const PathEntry& entry) { return sum + entry.points.size(); });
}

// The whole picture, made smaller only where cairo cannot hold it.
Surface picture_of(const PixelSource& pixels) {
    const Rect size = {0, 0, std::min(pixels.width(), kLargestSide), std::min(pixels.height(), kLargestSide)};
    const bool fits = size.right == pixels.width() && size.bottom == pixels.height();
    Surface surface = make_image(pixels.opaque() ? CAIRO_FORMAT_RGB24 : CAIRO_FORMAT_ARGB32, size.right, size.bottom);
    if (const Bytes jpeg = pixels.whole_jpeg(); fits && !jpeg.empty()) {
        pixels.read([](std::span<const uint32_t>) {});  // to find damage
        attach_jpeg(surface.get(), jpeg);
        return surface;
    }
    PixelAccess rows(surface.get());
    if (fits) {
        int y = 0;
        pixels.read([&](std::span<const uint32_t> row) { std::copy(row.begin(), row.end(), rows.pixels(y++)); });
    } else {
        Resampler resampler(pixels.width(), pixels.height(), size, size);
        pixels.read([&](std::span<const uint32_t> row) { resampler.add_row(row); });
        const PixelBlock block = resampler.take();
        for (int y = 0; y < size.bottom; ++y) std::copy_n(block.row(y), size.right, rows.pixels(y));
    }
    return surface;
}

}  // namespace

PdfCanvas::PdfCanvas(cairo_surface_t* pdf, const Placement& place, RasterCanvas* beside, double beside_dots_per_point)
    : pdf_(pdf), place_(place), beside_(beside), beside_dots_per_point_(beside_dots_per_point) {
    reset_context();
}

void PdfCanvas::reset_context() {
    in_group_ = false;
    context_.reset(cairo_create(pdf_));
    cairo_translate(context_.get(), place_.left, place_.top);
    cairo_scale(context_.get(), place_.scale, place_.scale);
}

// Viewers draw a line of no width as thin as they can; a tenth of a point prints as such.
double PdfCanvas::hairline() const {
    constexpr double kPoints = 0.1;
    return kPoints / place_.scale;
}

void PdfCanvas::check() {
    const cairo_status_t status = cairo_status(context_.get());
    if (status == CAIRO_STATUS_SUCCESS) return;
    reset_context();
    set_clip(Clip(clip_));
    throw BodyFault(std::string("cannot be drawn: ") + cairo_status_to_string(status));
}

RasterCanvas& PdfCanvas::beside() const {
    if (!beside_) throw BodyFault("reads the page, against what the index says");
    return *beside_;
}

// Cairo writes a clip path before everything that is drawn under it; a group has it once.
void PdfCanvas::set_clip(const Clip& clip) {
    constexpr size_t kLongPath = 64;  // points
    clip_ = clip;
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

void PdfCanvas::end_group() {
    if (!std::exchange(in_group_, false)) return;
    cairo_pop_group_to_source(context_.get());
    cairo_paint(context_.get());
    check();
}

void PdfCanvas::finish_page() { end_group(); }

void PdfCanvas::clip_by(const Clip& clip) {
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

void PdfCanvas::draw(const Shape& shape, uint8_t rop, const Tint& tint) {
    if (draws_nothing(rop, tint)) return;
    const std::optional<Tint> plain = copied(rop, tint);
    if (!plain) {
        beside().draw(shape, rop, tint);
        return place_pixels(beside().affected(beside().bounds_of(shape)));
    }
    if (beside_) beside_->draw(shape, rop, tint);
    set_source(context_.get(), *plain);
    shape.paint(context_.get());
    check();
}

// Puts an area of the page beside over this one.
void PdfCanvas::place_pixels(const Rect& area) {
    if (area.empty()) return;
    Surface copy = make_image(CAIRO_FORMAT_RGB24, area.right - area.left, area.bottom - area.top);
    {
        PixelAccess to(copy.get()), from(beside().surface());
        for (int y = area.top; y < area.bottom; ++y) {
            std::copy_n(from.pixels(y) + area.left, area.right - area.left, to.pixels(y - area.top));
        }
    }
    cairo_save(context_.get());
    cairo_identity_matrix(context_.get());
    cairo_scale(context_.get(), 1 / beside_dots_per_point_, 1 / beside_dots_per_point_);
    cairo_set_source_surface(context_.get(), copy.get(), area.left, area.top);
    cairo_pattern_set_filter(cairo_get_source(context_.get()), CAIRO_FILTER_NEAREST);
    cairo_rectangle(context_.get(), area.left, area.top, area.right - area.left, area.bottom - area.top);
    cairo_fill(context_.get());
    cairo_restore(context_.get());
    check();
}

void PdfCanvas::place_picture(const PixelSource& pixels, const Rect& target) {
    const Surface picture = picture_of(pixels);
    const double width = cairo_image_surface_get_width(picture.get()),
                 height = cairo_image_surface_get_height(picture.get());
    const double across = double{1} * target.right - target.left, down = double{1} * target.bottom - target.top;
    if (across == 0 || down == 0) return;
    cairo_save(context_.get());
    cairo_translate(context_.get(), target.left, target.top);
    cairo_scale(context_.get(), across / width, down / height);
    cairo_set_source_surface(context_.get(), picture.get(), 0, 0);
    cairo_pattern_set_filter(cairo_get_source(context_.get()), CAIRO_FILTER_NEAREST);
    cairo_rectangle(context_.get(), 0, 0, width, height);
    cairo_fill(context_.get());
    cairo_restore(context_.get());
    check();
}

void PdfCanvas::draw_image(PixelSource& pixels, const Rect& target, uint8_t rop, const Tint& tint) {
    constexpr uint8_t kSourceCopy = 0xCC;
    if (draws_nothing(rop, tint)) return;
    if (beside_) beside_->draw_image(pixels, target, rop, tint);
    if (rop == kSourceCopy) return place_picture(pixels, target);
    place_pixels(beside().affected(RasterCanvas::bounds_of(ordered(target))));
}

}  // namespace kvjob
