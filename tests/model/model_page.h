#pragma once
// A page of pixels, and drawing on it as GDI defines it. Colours are 0x00RRGGBB.

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <vector>

#include "engine/objects.h"

namespace kv::test {

// A picture's colours, kept apart from its bitmap.
struct Picture {
    std::unique_ptr<engine::Bitmap> bitmap;
    std::unique_ptr<engine::Translation> translation = nullptr;
    std::vector<ULONG> colours = {};  // 0xAARRGGBB, rows from the top
    LONG width() const { return bitmap->width(); }
    LONG height() const { return bitmap->height(); }
    ULONG at(POINTL p) const { return colours[static_cast<size_t>(p.y * width() + p.x)]; }
};

// What a brush lays down: a colour, or a pattern repeated from the page's corner.
struct Pattern {
    ULONG colour = 0;
    const Picture* tile = nullptr;
    ULONG at(POINTL p) const {
        return tile ? tile->at({p.x % tile->width(), p.y % tile->height()}) & 0xFFFFFF : colour;
    }
};

// A part of a picture on the page, each pixel made a block of pixels; the target may be turned over.
struct Placed {
    const Picture& picture;
    RECTL from, to;
    POINTL source_of(POINTL p) const {
        return {pixel(p.x, to.left, to.right, from.left, from.right),
                pixel(p.y, to.top, to.bottom, from.top, from.bottom)};
    }
    ULONG at(POINTL p) const { return picture.at(source_of(p)); }
    static LONG pixel(LONG at, LONG first, LONG end, LONG low, LONG high) {
        const LONG along = first < end ? at - first : first - 1 - at;
        return low + along * (high - low) / std::abs(end - first);
    }
};

class ModelPage {
public:
    static constexpr LONG kSize = 96;
    static constexpr int kUnknown = 256;  // slack that an operation on bits has spread over all of them
    struct Pixel {
        ULONG colour = 0xFFFFFF;
        int slack = 0;  // steps by which rounding may differ in a channel
    };

    const Pixel& at(POINTL p) const { return pixels_[static_cast<size_t>(p.y * kSize + p.x)]; }

    // Calls change(point, pixel) for the rectangle's pixels within the clip.
    template <class Change>
    void change(const RECTL& rect, const engine::Clip* clip, Change change) {
        for (POINTL p = {0, 0}; p.y < kSize; p.x = 0, ++p.y) {
            for (; p.x < kSize; ++p.x) {
                if (holds(rect, p) && is_open(clip, p)) change(p, pixels_[static_cast<size_t>(p.y * kSize + p.x)]);
            }
        }
    }

    // A ternary operation: bit i of it is the result where pattern, source and page are the bits 2, 1 and 0 of i.
    static void operate(Pixel& pixel, BYTE rop, ULONG pattern, ULONG source) {
        const ULONG page = pixel.colour;
        ULONG result = 0;
        for (int i = 0; i < 8; ++i) {
            if (rop >> i & 1)
                result |= (i & 4 ? pattern : ~pattern) & (i & 2 ? source : ~source) & (i & 1 ? page : ~page);
        }
        pixel.colour = result & 0xFFFFFF;
        const bool reads_page = ((rop >> 1 ^ rop) & 0x55) != 0;
        if (!reads_page) pixel.slack = 0;
        if (pixel.slack && rop != 0xAA && rop != 0x55) pixel.slack = kUnknown;
    }

    // Source over: constant alpha, and premultiplied alpha of the source's own where `own`.
    static void blend(Pixel& pixel, ULONG source, ULONG constant, bool own) {
        const ULONG alpha = own ? divided((source >> 24) * constant) : constant;
        ULONG result = 0;
        for (int shift = 0; shift < 24; shift += 8) {
            const ULONG over = source >> shift & 0xFF, under = pixel.colour >> shift & 0xFF;
            result |= (own ? divided(over * constant) + divided(under * (255 - alpha))
                           : divided(over * constant + under * (255 - constant)))
                      << shift;
        }
        pixel.colour = result;
        if (alpha == 255) pixel.slack = 0;
        if (alpha != 255 && alpha != 0 && pixel.slack < kUnknown) ++pixel.slack;
    }

    static bool holds(const RECTL& rect, POINTL p) {
        return p.x >= std::min(rect.left, rect.right) && p.x < std::max(rect.left, rect.right) &&
               p.y >= std::min(rect.top, rect.bottom) && p.y < std::max(rect.top, rect.bottom);
    }

private:
    static ULONG divided(ULONG product) { return (product + 127) / 255; }
    static bool is_open(const engine::Clip* clip, POINTL p) {
        return !clip || clip->iDComplexity == DC_TRIVIAL ||
               std::any_of(clip->rects().begin(), clip->rects().end(), [&](const RECTL& r) { return holds(r, p); });
    }

    std::vector<Pixel> pixels_ = std::vector<Pixel>(size_t{kSize} * kSize);
};

}  // namespace kv::test
