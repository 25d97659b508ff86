#pragma once
// A page of pixels, and drawing on it as GDI defines it. Colours are 0x00RRGGBB.

#include <cstdlib>
#include <vector>

#include "engine/objects.h"

namespace kv::test {

// A picture's colours, kept apart from its bitmap.
struct Picture {
    std::unique_ptr<engine::Bitmap> bitmap;
    std::unique_ptr<engine::Translation> translation;
    std::vector<ULONG> colours;  // 0xAARRGGBB, rows from the top
    ULONG at(LONG x, LONG y) const { return colours[static_cast<size_t>(y * bitmap->width() + x)]; }
    RECTL whole() const { return {0, 0, bitmap->width(), bitmap->height()}; }
};

// What a brush lays down: a colour, or a pattern repeated from the page's corner.
struct Pattern {
    ULONG colour = 0;
    const Picture* tile = nullptr;
    ULONG at(LONG x, LONG y) const {
        return tile ? tile->at(x % tile->bitmap->width(), y % tile->bitmap->height()) & 0xFFFFFF : colour;
    }
};

// A part of a picture on the page, each pixel made a block of pixels; the target may be turned over.
struct Placed {
    const Picture* picture = nullptr;
    RECTL from = {}, to = {};
    ULONG at(LONG x, LONG y) const {
        const POINTL place = source_of(x, y);
        return picture->at(place.x, place.y);
    }
    POINTL source_of(LONG x, LONG y) const {
        return {pixel(x, to.left, to.right, from.left, from.right), pixel(y, to.top, to.bottom, from.top, from.bottom)};
    }
    static LONG pixel(LONG at, LONG first, LONG end, LONG low, LONG high) {
        const LONG along = first < end ? at - first : first - 1 - at;
        return low + along * (high - low) / std::abs(end - first);
    }
};

class ModelPage {
public:
    static constexpr LONG kSize = 96;
    struct Pixel {
        ULONG colour = 0xFFFFFF;
        int slack = 0;  // steps by which rounding may differ in a channel
    };
    static constexpr int kUnknown = 256;  // slack that an operation on bits has spread over all of them

    const Pixel& at(LONG x, LONG y) const { return pixels_[static_cast<size_t>(y * kSize + x)]; }

    // Calls change(x, y, pixel) for the rectangle's pixels within the clip.
    template <class Change>
    void change(const RECTL& rect, const engine::Clip* clip, Change change) {
        for (LONG y = 0; y < kSize; ++y) {
            for (LONG x = 0; x < kSize; ++x) {
                if (holds(rect, x, y) && is_open(clip, x, y)) change(x, y, pixels_[static_cast<size_t>(y * kSize + x)]);
            }
        }
    }

    // A ternary operation: bit i of it is the result where pattern, source and page are the bits 2, 1 and 0 of i.
    static void operate(Pixel& pixel, BYTE rop, ULONG pattern, ULONG source) {
        ULONG result = 0;
        for (int i = 0; i < 8; ++i) {
            if (!(rop >> i & 1)) continue;
            result |=
                (i & 4 ? pattern : ~pattern) & (i & 2 ? source : ~source) & (i & 1 ? pixel.colour : ~pixel.colour);
        }
        constexpr BYTE kPageBit = 0xAA, kInverted = 0x55;
        const bool reads_page = ((rop >> 1 ^ rop) & 0x55) != 0;
        if (!reads_page) pixel.slack = 0;
        if (pixel.slack && rop != kPageBit && rop != kInverted) pixel.slack = kUnknown;
        pixel.colour = result & 0xFFFFFF;
    }

    // Source over: constant alpha, and premultiplied alpha of the source's own where `own`.
    static void blend(Pixel& pixel, ULONG source, ULONG constant, bool own) {
        const ULONG alpha = own ? divided((source >> 24) * constant) : constant;
        ULONG result = 0;
        for (int shift = 0; shift < 24; shift += 8) {
            const ULONG over = source >> shift & 0xFF, under = pixel.colour >> shift & 0xFF;
            const ULONG mixed = own ? divided(over * constant) + divided(under * (255 - alpha))
                                    : divided(over * constant + under * (255 - constant));
            result |= std::min<ULONG>(mixed, 255) << shift;
        }
        pixel.colour = result;
        if (alpha == 255) pixel.slack = 0;
        if (alpha != 255 && alpha != 0 && pixel.slack < kUnknown) ++pixel.slack;
    }

private:
    static ULONG divided(ULONG product) { return (product + 127) / 255; }
    static bool holds(const RECTL& rect, LONG x, LONG y) {
        return x >= std::min(rect.left, rect.right) && x < std::max(rect.left, rect.right) &&
               y >= std::min(rect.top, rect.bottom) && y < std::max(rect.top, rect.bottom);
    }
    static bool is_open(const engine::Clip* clip, LONG x, LONG y) {
        if (!clip || clip->iDComplexity == DC_TRIVIAL) return true;
        return std::any_of(clip->rects().begin(), clip->rects().end(),
                           [&](const RECTL& rect) { return holds(rect, x, y); });
    }

    std::vector<Pixel> pixels_ = std::vector<Pixel>(size_t{kSize} * kSize);
};

}  // namespace kv::test
