#include "drawing/stencil_run.h"

#include <algorithm>
#include <bit>

namespace kvjob {
namespace {

constexpr int kWordBits = 32;

// The first pixel of a word is its lowest bit or its highest one, as the machine's bytes lie.
uint32_t towards_right(uint32_t word, int bits) {
    return std::endian::native == std::endian::little ? word << bits : word >> bits;
}
uint32_t towards_left(uint32_t word, int bits) {
    return std::endian::native == std::endian::little ? word >> bits : word << bits;
}

void lay_over(PixelAccess& onto, cairo_surface_t* stencil, int left, int top) {
    PixelAccess from(stencil);
    const int words = (cairo_image_surface_get_width(stencil) + kWordBits - 1) / kWordBits, shift = left % kWordBits;
    for (int y = 0; y < cairo_image_surface_get_height(stencil); ++y) {
        uint32_t* to = onto.pixels(top + y) + left / kWordBits;
        for (const uint32_t* word = from.pixels(y); word < from.pixels(y) + words; ++word, ++to) {
            *to |= towards_right(*word, shift);
            const uint32_t rest = shift ? towards_left(*word, kWordBits - shift) : 0;
            if (rest) to[1] |= rest;
        }
    }
}

}  // namespace

bool StencilRun::takes(const PictureLayer& layer, const Rect& target) const {
    constexpr int64_t kMostBytes = 256 << 10, kLongestSide = 32767;
    constexpr size_t kMostStencils = 4096;
    constexpr int64_t kSparse = 8;  // times the bytes of the stencils, most of which are words that are half empty
    if (empty()) return true;
    const int64_t width = int64_t{std::max(area_.right, target.right)} - std::min(area_.left, target.left),
                  height = int64_t{std::max(area_.bottom, target.bottom)} - std::min(area_.top, target.top),
                  bytes = width * height / 8;
    return layer.stencil_colour == first().stencil_colour && stencils_.size() < kMostStencils &&
           std::max(width, height) <= kLongestSide &&
           bytes <= std::min(kMostBytes, kSparse * static_cast<int64_t>(bytes_ + image_bytes(layer.surface)));
}

bool StencilRun::add(const PictureLayer& layer, const Rect& target) {
    if (!takes(layer, target)) return false;
    area_ = empty() ? target : united(area_, target);
    stencils_.push_back({layer, target.left, target.top});
    bytes_ += image_bytes(layer.surface);
    return true;
}

Surface StencilRun::joined() const {
    Surface whole = make_image(CAIRO_FORMAT_A1, area_.right - area_.left, area_.bottom - area_.top);
    PixelAccess onto(whole.get());
    for (const Stencil& each : stencils_) {
        lay_over(onto, each.layer.surface, each.left - area_.left, each.top - area_.top);
    }
    return whole;
}

}  // namespace kvjob
