#include "drawing/picture_layers.h"

#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace kvjob {
namespace {

constexpr uint32_t kOpaque = 0xFF000000;

void attach(cairo_surface_t* surface, const char* kind, Bytes bytes) {
    auto* copy = static_cast<unsigned char*>(std::malloc(bytes.size()));
    if (!copy) throw std::bad_alloc();
    std::copy(bytes.begin(), bytes.end(), copy);
    const auto status = cairo_surface_set_mime_data(surface, kind, copy, bytes.size(), std::free, copy);
    if (status != CAIRO_STATUS_SUCCESS) std::free(copy);
}

Bytes bytes_of(const std::string& text) { return {reinterpret_cast<const uint8_t*>(text.data()), text.size()}; }

// Two hashes of 32 and 64 bits with the size and the kind.
std::string digest(cairo_surface_t* surface, Bytes content) {
    std::string id;
    auto add = [&](auto value) { id.append(reinterpret_cast<const char*>(&value), sizeof value); };
    add(cairo_image_surface_get_width(surface));
    add(cairo_image_surface_get_height(surface));
    add(cairo_image_surface_get_format(surface));
    add(content.size());
    add(crc32_z(0, content.data(), content.size()));
    add(std::hash<std::string_view>()({reinterpret_cast<const char*>(content.data()), content.size()}));
    return id;
}

// What an operation does to pixels; neighbours are mostly alike.
class BlendOfPixel {
public:
    BlendOfPixel(const RasterOp& operation, uint32_t pattern)
        : operation_(operation), pattern_(pattern), blend_(blend_of(operation, pattern, pixel_)) {}
    const std::optional<Blend>& operator()(uint32_t pixel) {
        if (pixel != pixel_) blend_ = blend_of(operation_, pattern_, pixel_ = pixel);
        return blend_;
    }

private:
    RasterOp operation_;
    uint32_t pattern_, pixel_ = 0;
    std::optional<Blend> blend_;
};

// What an operation does to the pixels of a picture, taken together.
struct Effects {
    bool inverts = false, sets = false;
    bool apart = true;       // each pixel is set in all channels or left
    bool one_colour = true;  // all that is set is set to this
    std::optional<uint32_t> colour;
    bool said = true;
};

Effects effects_of(const PixelSource& pixels, BlendOfPixel& blend_of_pixel) {
    Effects effects;
    pixels.read([&](std::span<const uint32_t> row) {
        if (!effects.said) return;
        for (const uint32_t pixel : row) {
            const std::optional<Blend>& blend = blend_of_pixel(pixel);
            if (!blend) {
                effects.said = false;
                return;
            }
            effects.inverts |= blend->difference != 0;
            if (blend->factor == 0xFFFFFF) continue;
            effects.sets = true;
            effects.apart &= blend->sets_all();
            effects.one_colour &= !effects.colour || *effects.colour == blend->screen;
            effects.colour = blend->screen;
        }
    });
    return effects;
}

// Calls put(pixels of the surface, row of the picture) for every row.
template <class Put>
Surface filled(const PixelSource& pixels, cairo_format_t format, Put put) {
    Surface surface = make_image(format, pixels.width(), pixels.height());
    PixelAccess rows(surface.get());
    int y = 0;
    pixels.read([&](std::span<const uint32_t> row) { put(rows.pixels(y++), row); });
    return surface;
}

// Not to be asked for once data are attached to the surface: a flush drops them.
Bytes content_of(cairo_surface_t* surface) {
    cairo_surface_flush(surface);
    return {cairo_image_surface_get_data(surface), image_bytes(surface)};
}

Surface stencil(const PixelSource& pixels, BlendOfPixel& blend_of_pixel) {
    constexpr size_t kBits = 32;
    return filled(pixels, CAIRO_FORMAT_A1, [&](uint32_t* words, std::span<const uint32_t> row) {
        for (size_t x = 0; x < row.size(); ++x) {
            if (!blend_of_pixel(row[x])->sets_all()) continue;
            const size_t bit = x % kBits;
            words[x / kBits] |= std::endian::native == std::endian::little ? 1u << bit : 1u << (kBits - 1 - bit);
        }
    });
}

}  // namespace

void Pictures::end_page() {
    surfaces_.clear();
    held_ = 0;
}

bool Pictures::fits(const PixelSource& pixels, uint64_t bytes_per_pixel) const {
    constexpr int32_t kLargestSide = 32767;  // of cairo's images
    const uint64_t bytes =
        uint64_t{static_cast<uint32_t>(pixels.width())} * static_cast<uint32_t>(pixels.height()) * bytes_per_pixel;
    return std::max(pixels.width(), pixels.height()) <= kLargestSide && held_ + bytes <= memory_;
}

// Takes over a surface, or gives the same one that is there already. Small ones are not worth the words about it.
PictureLayer Pictures::keep(Surface surface, Bytes content) {
    constexpr size_t kSmall = 512;  // bytes
    std::string id = digest(surface.get(), content);
    if (content.size() <= kSmall) id += std::to_string(surfaces_.size());
    PictureLayer layer;
    Surface& known = surfaces_[id];
    layer.repeated = known != nullptr;
    if (!known) {
        if (content.size() > kSmall) attach(surface.get(), CAIRO_MIME_TYPE_UNIQUE_ID, bytes_of(id));
        held_ += image_bytes(surface.get());
        known = std::move(surface);
    }
    layer.surface = known.get();
    return layer;
}

std::optional<PictureLayer> Pictures::copy_of(const PixelSource& pixels) {
    if (!fits(pixels, sizeof(uint32_t))) return std::nullopt;
    if (const Bytes jpeg = pixels.whole_jpeg(); !jpeg.empty()) {
        pixels.read([](std::span<const uint32_t>) {});  // to find damage
        Surface surface = make_image(CAIRO_FORMAT_RGB24, pixels.width(), pixels.height());
        attach(surface.get(), CAIRO_MIME_TYPE_JPEG, jpeg);
        return keep(std::move(surface), jpeg);
    }
    Surface surface =
        filled(pixels, pixels.opaque() ? CAIRO_FORMAT_RGB24 : CAIRO_FORMAT_ARGB32,
               [](uint32_t* to, std::span<const uint32_t> row) { std::copy(row.begin(), row.end(), to); });
    const Bytes content = content_of(surface.get());
    return keep(std::move(surface), content);
}

std::optional<std::vector<PictureLayer>> Pictures::layers_of(const PixelSource& pixels, uint8_t rop, uint32_t pattern,
                                                             bool blending) {
    if (!pixels.opaque() || !fits(pixels, kBlendSteps.size() * sizeof(uint32_t))) return std::nullopt;
    BlendOfPixel blend_of_pixel(RasterOp(rop), pattern);
    const Effects effects = effects_of(pixels, blend_of_pixel);
    if (!effects.said) return std::nullopt;
    std::vector<PictureLayer> layers;
    auto add = [&](cairo_operator_t how, Surface surface, std::optional<uint32_t> colour = std::nullopt) {
        const Bytes content = content_of(surface.get());
        layers.push_back(keep(std::move(surface), content));
        layers.back().operation = how;
        layers.back().stencil_colour = colour;
    };
    if (!effects.inverts && !effects.sets) return layers;
    if (!effects.inverts && effects.apart && effects.one_colour) {
        add(CAIRO_OPERATOR_OVER, stencil(pixels, blend_of_pixel), *effects.colour);
    } else if (!effects.inverts && effects.apart) {
        add(CAIRO_OPERATOR_OVER, filled(pixels, CAIRO_FORMAT_ARGB32, [&](uint32_t* to, std::span<const uint32_t> row) {
                for (const uint32_t pixel : row) {
                    const Blend& blend = *blend_of_pixel(pixel);
                    *to++ = blend.sets_all() ? blend.screen | kOpaque : 0;
                }
            }));
    } else if (blending) {
        for (const BlendStep& step : kBlendSteps) {
            bool needed = false;
            Surface surface = filled(pixels, CAIRO_FORMAT_RGB24, [&](uint32_t* to, std::span<const uint32_t> row) {
                for (const uint32_t pixel : row) {
                    *to = (*blend_of_pixel(pixel)).*step.colour;
                    needed |= *to++ != step.neutral;
                }
            });
            if (needed) add(step.operation, std::move(surface));
        }
    } else {
        return std::nullopt;
    }
    return layers;
}

}  // namespace kvjob
