// Images, and what is drawn as images because the printer interface has no words for it.

#include "printhost/page_player.h"
#include "printhost/warnings.h"

namespace kvprint {
namespace {

using Masks = ImageSource::Masks;

// Pixels of one bitmap; larger images go in bands.
constexpr LONG kBandPixels = 1 << 22;

// Calls draw(top, end, target) for each band of an image's rows and the device rows it fills.
template <class Draw>
void for_each_band(const ImageSource& image, const RECTL& target, Draw draw) {
    const LONG rows = std::clamp<LONG>(kBandPixels / image.width(), 1, image.height());
    const LONGLONG height = target.bottom - target.top;
    auto device_row = [&](LONG row) { return static_cast<LONG>(target.top + row * height / image.height()); };
    for (LONG top = 0; top < image.height(); top += rows) {
        const LONG end = std::min(top + rows, image.height());
        const RECTL band = {target.left, device_row(top), target.right, device_row(end)};
        if (!is_empty(band)) draw(top, end, band);
    }
}

void draw_band(Canvas& canvas, const ImageSource& image, LONG top, LONG end, const RECTL& target, float alpha) {
    const auto bitmap = image.rows(top, end);
    const Transfer transfer = {*bitmap, image.translation(), {0, 0, image.width(), end - top}, target};
    if (image.kind() == ImageSource::Kind::Blended) {
        canvas.blend(transfer, Canvas::Alpha::PerPixel, alpha);
    } else if (image.kind() == ImageSource::Kind::Masked) {
        canvas.draw_masked(transfer, *image.mask_rows(top, end));
    } else if (alpha < 1) {
        canvas.blend(transfer, Canvas::Alpha::Constant, alpha);
    } else {
        canvas.draw(transfer);
    }
}

// So coarse that its smooth steps are seen: device pixels a pixel of the source.
bool is_enlarged(const fz_image& image, const RECTL& target) {
    constexpr LONG kSteps = 4;
    const LONG across = target.right - target.left, down = target.bottom - target.top;
    return std::max(across, down) > kSteps * std::max(image.w, image.h);
}

bool is_jbig2(fz_context* context, fz_image* image) {
    const fz_compressed_buffer* data = fz_compressed_image_buffer(context, image);
    return data && data->params.type == FZ_IMAGE_JBIG2;
}

}  // namespace

void PagePlayer::draw_image(fz_device* device, fz_image* image, fz_image* mask, fz_matrix ctm, float alpha,
                            fz_color_params parameters) {
    if (mask) fz_clip_image_mask(context_, device, mask, ctm, fz_infinite_rect);
    fz_fill_image(context_, device, image, ctm, alpha, parameters);
    if (mask) fz_pop_clip(context_, device);
}

ImageSource::Room PagePlayer::room_of(const RECTL& target) const {
    constexpr size_t kCopies = 3;  // turned, converted and as they are
    return {target.right - target.left, target.bottom - target.top, memory_ / kCopies};
}

// Less where the page has drawn very many pixels.
ImageSource::Room PagePlayer::room_of(const fz_image& image, const RECTL& target) {
    constexpr double kPixelCost = 10;
    ImageSource::Room room = room_of(target);
    const double pixels = std::min(1.0 * room.across * room.down, static_cast<double>(image.w) * image.h);
    const int coarser = renderer_.spend(kPixelCost * pixels * renderer_.scale() * renderer_.scale());
    room.across = std::max<LONG>(room.across / coarser, 1);
    room.down = std::max<LONG>(room.down / coarser, 1);
    return room;
}

void PagePlayer::tell_coarse(const char* thing) const {
    warnings_of(context_).add(std::string(thing) + " drawn coarser than it is, to fit the memory (--memory)");
}

void PagePlayer::image(fz_image* image, fz_matrix ctm, float alpha, fz_color_params parameters) {
    fz_image* mask = is_mask_of(image) ? image->mask : nullptr;
    drop_mask();
    if (!is_drawing() || alpha <= 0) return;
    const fz_rect bounds = fz_transform_rect(fz_unit_rect, ctm);
    const RECTL target = nearest_pixels(bounds);
    if (is_empty(common(target, canvas_.clip().bounds()))) return;
    Turn turn;
    if (!turn.find(ctm)) {
        count_otherwise("rotated images as images");
        render(bounds, [&](fz_device* device) { draw_image(device, image, mask, ctm, alpha, parameters); });
        return;
    }
    if (image->interpolate && is_enlarged(*image, target)) {
        count_otherwise("smoothly enlarged images as larger ones");
        render(bounds, [&](fz_device* device) { draw_image(device, image, mask, ctm, alpha, parameters); });
        return;
    }
    const ImageSource source(context_, image, mask, turn, alpha == 1 ? Masks::OneBit : Masks::Alpha,
                             room_of(*image, target));
    if (source.is_coarse()) tell_coarse("image");
    // What such a decoder does not finish is not there at all, and would be a black area.
    if (is_jbig2(context_, image) && warnings_of(context_).is_at_fault()) throw std::runtime_error("not decoded");
    for_each_band(source, target,
                  [&](LONG top, LONG end, const RECTL& band) { draw_band(canvas_, source, top, end, band, alpha); });
}

void PagePlayer::stencil(fz_image* image, fz_matrix ctm, Paint paint) {
    if (!is_drawing() || paint.alpha <= 0) return;
    const fz_rect bounds = fz_transform_rect(fz_unit_rect, ctm);
    const RECTL target = nearest_pixels(bounds);
    if (is_empty(common(target, canvas_.clip().bounds()))) return;
    Turn turn;
    if (!turn.find(ctm)) {
        count_otherwise("rotated image masks as images");
        const Rgb rgb(paint.colour);
        render(bounds, [&](fz_device* device) {
            fz_fill_image_mask(context_, device, image, ctm, fz_device_rgb(context_), rgb.components, paint.alpha,
                               fz_default_color_params);
        });
        return;
    }
    const ImageSource source(context_, image, nullptr, turn, Masks::OneBit, room_of(target));
    if (source.is_coarse()) tell_coarse("image mask");
    const bool opaque = canvas_.make_opaque(paint, target);
    for_each_band(source, target, [&](LONG top, LONG end, const RECTL& band) {
        const RECTL all = {0, 0, source.width(), end - top};
        if (opaque) {
            canvas_.draw_stencil({*source.rows(top, end), source.translation(), all, band}, paint.colour);
        } else {
            canvas_.blend({*source.tinted_rows(top, end, paint.colour), nullptr, all, band}, Canvas::Alpha::PerPixel,
                          paint.alpha);
        }
    });
}

void PagePlayer::shade(fz_shade* shade, fz_matrix ctm, float alpha, fz_color_params parameters) {
    if (!is_drawing()) return;
    count_otherwise("shadings as images");
    render(fz_bound_shade(context_, shade, ctm),
           [&](fz_device* device) { fz_fill_shade(context_, device, shade, ctm, alpha, parameters); }, {1, true});
}

}  // namespace kvprint
