#include "printhost/rendering.h"

#include <algorithm>
#include <cstring>

#include "printhost/geometry.h"
#include "printhost/run_budget.h"

namespace kvprint {
namespace {

using kv::engine::Bitmap;
using kv::engine::RowOrder;

constexpr int kLeastResolution = 300;
constexpr size_t kBandPixels = 1 << 23;
constexpr LONGLONG kPicturePixels = 40 << 20, kRenderedPixels = 128 << 20, kSmoothPixels = 16 << 20;
// What rendering a page may cost, in pixels that are filled: some ten seconds. What goes beyond is drawn coarser, so
// that any number of drawings takes few times that.
constexpr double kRenderingCost = 3e9, kPictureCost = 10e9;
constexpr int kSmooth = 8;  // bits of antialiasing

const unsigned char* pixel_of(const fz_pixmap& pixmap, int x, int y) {
    return pixmap.samples + ptrdiff_t{y - pixmap.y} * pixmap.stride + ptrdiff_t{x - pixmap.x} * pixmap.n;
}

void extend(fz_irect& box, int x, int y) {
    box = fz_make_irect(std::min(box.x0, x), std::min(box.y0, y), std::max(box.x1, x + 1), std::max(box.y1, y + 1));
}

constexpr fz_irect kNoBox = {0x7FFFFFFF, 0x7FFFFFFF, -0x7FFFFFFF, -0x7FFFFFFF};

// alpha(x, y): of a pixel of the pixmap, 0 to 255.
template <class AlphaOf>
void take_pixels(const fz_pixmap& pixmap, int scale, AlphaOf alpha_of, const TakeRendering& take) {
    fz_irect box = kNoBox;
    bool opaque = true;
    for (int y = pixmap.y; y < pixmap.y + pixmap.h; ++y) {
        for (int x = pixmap.x; x < pixmap.x + pixmap.w; ++x) {
            if (alpha_of(x, y) != 0) extend(box, x, y);
        }
    }
    if (box.x0 >= box.x1) return;
    for (int y = box.y0; y < box.y1 && opaque; ++y) {
        for (int x = box.x0; x < box.x1 && opaque; ++x) opaque = alpha_of(x, y) == 255;
    }
    const int bytes = opaque ? 3 : 4;
    Rendering rendering = {
        std::make_unique<Bitmap>(opaque ? BMF_24BPP : BMF_32BPP, box.x1 - box.x0, box.y1 - box.y0, RowOrder::BottomUp),
        opaque,
        {box.x0 * scale, box.y0 * scale, box.x1 * scale, box.y1 * scale}};
    for (int y = box.y0; y < box.y1; ++y) {
        BYTE* out = rendering.bitmap->row(y - box.y0);
        for (int x = box.x0; x < box.x1; ++x, out += bytes) {
            const int alpha = alpha_of(x, y);
            if (alpha == 0) continue;
            const unsigned char* rgb = pixel_of(pixmap, x, y);
            for (int i = 0; i < 3; ++i) out[i] = rgb[2 - i];
            if (!opaque) out[3] = static_cast<BYTE>(alpha);
        }
    }
    take(rendering);
}

}  // namespace

Renderer::Renderer(fz_context* context, float resolution, size_t memory)
    : context_(context), scale_(std::max(static_cast<int>(resolution) / kLeastResolution, 1)), memory_(memory) {}

Smooth::Smooth(fz_context* context) : context_(context), level_(fz_aa_level(context)) {
    fz_set_aa_level(context_, kSmooth);
}

fz_irect reduced(const RECTL& area, int scale) {
    auto down = [scale](LONG value) {
        return static_cast<int>(std::floor(static_cast<double>(value) / static_cast<double>(scale)));
    };
    return fz_make_irect(down(area.left), down(area.top), down(area.right + scale - 1), down(area.bottom + scale - 1));
}

Pixmap Renderer::draw_on_nothing(const fz_irect& box, int scale, const Draw& draw) const {
    const Smooth smooth(context_);
    Pixmap pixmap = make_held<Pixmap>(
        context_, [&] { return fz_new_pixmap_with_bbox(context_, fz_device_rgb(context_), box, nullptr, 1); });
    const auto device = make_held<DrawDevice>(context_, [&] {
        fz_clear_pixmap(context_, pixmap.get());
        const float smaller = 1 / static_cast<float>(scale);
        return fz_new_draw_device(context_, fz_scale(smaller, smaller), pixmap.get());
    });
    with_errors(context_, [&] {
        draw(device.get());
        close_containers(context_, device.get());
        fz_close_device(context_, device.get());
    });
    return pixmap;
}

void Renderer::render(const RECTL& area, const Draw& draw, const TakeRendering& take, Effort effort) {
    const double filled = static_cast<double>(area.right - area.left) * (area.bottom - area.top);
    const int scale = spend(effort.within + kGroupCost * filled) *
                      (effort.smooth ? 2 * scale_for(area, 4 * kSmoothPixels) : scale_for(area, kRenderedPixels));
    const fz_irect box = reduced(area, scale);
    // Each layer has its pixels, and those of its shape; half of the memory is for what is drawn.
    const size_t pixel_bytes = 8 * (effort.layers + 1);
    const size_t pixels = std::min(kBandPixels, memory_ / 2 / pixel_bytes);
    const int rows = std::max(static_cast<int>(pixels) / std::max(box.x1 - box.x0, 1), 1);
    for (int top = box.y0; top < box.y1; top += rows) {
        const fz_irect band = fz_make_irect(box.x0, top, box.x1, std::min(top + rows, box.y1));
        const Pixmap pixmap = draw_on_nothing(band, scale, draw);
        take_pixels(
            *pixmap.get(), scale, [&](int x, int y) { return pixel_of(*pixmap.get(), x, y)[3]; }, take);
    }
}

int Renderer::spend(double cost) {
    cost_ += cost;
    return coarser_by(cost_, kRenderingCost);
}

// cost: in device pixels.
int Renderer::coarser_by(double cost, double most) {
    constexpr int kMostCoarse = 32;
    int factor = 1;
    while (factor < kMostCoarse && cost > most * (scale_ * scale_) * (factor * factor)) factor *= 2;
    coarse_ |= factor > 1;
    return factor;
}

int Renderer::picture_scale(const RECTL& page, const Blends& blends) {
    // The picture, one of before and one of after a drawing, and groups in it.
    constexpr size_t kPixelBytes = 10, kLayerBytes = 8, kFewLayers = 2;
    const size_t bytes = kPixelBytes + kLayerBytes * std::max(blends.layers, kFewLayers);
    const double pixels = static_cast<double>(page.right - page.left) * (page.bottom - page.top);
    return coarser_by(blends.fills * pixels, kPictureCost) *
           scale_for(page, std::min(kPicturePixels, static_cast<LONGLONG>(memory_ / bytes)));
}

int Renderer::scale_for(const RECTL& area, LONGLONG most_pixels) const {
    int scale = scale_;
    auto pixels = [&] {
        const fz_irect box = reduced(area, scale);
        return LONGLONG{box.x1 - box.x0} * (box.y1 - box.y0);
    };
    while (pixels() > most_pixels) scale *= 2;
    return scale;
}

void Renderer::difference(const Picture& before, const Picture& after, const TakeRendering& take) const {
    const fz_pixmap &old = *before.pixmap.get(), &now = *after.pixmap.get();
    take_pixels(
        now, after.scale,
        [&](int x, int y) { return std::memcmp(pixel_of(old, x, y), pixel_of(now, x, y), 3) == 0 ? 0 : 255; }, take);
}

void close_containers(fz_context* context, fz_device* device, int but_for) {
    while (device->container_len > but_for) {
        switch (device->container[device->container_len - 1].type) {
            case fz_device_container_stack_is_mask:
                fz_end_mask(context, device);  // is a clip now
                break;
            case fz_device_container_stack_is_group:
                fz_end_group(context, device);
                break;
            case fz_device_container_stack_is_tile:
                fz_end_tile(context, device);
                break;
            default:
                fz_pop_clip(context, device);
        }
    }
}

}  // namespace kvprint
