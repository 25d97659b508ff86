#pragma once
// Rectangles, whose right and bottom are exclusive, pixels and colours.

#include <mupdf/fitz.h>

#include <algorithm>
#include <cmath>

#include "platform/win32.h"

namespace kvprint {

// Device coordinates beyond this are no page's; 28.4 fixed point would overflow.
inline constexpr float kFarthest = 1 << 26;

inline LONG nearest_pixel(float value) {
    return static_cast<LONG>(std::lround(std::clamp(value, -kFarthest, kFarthest)));
}

inline RECTL covering(fz_rect rect) {
    auto whole = [](float value) { return static_cast<LONG>(std::clamp(value, -kFarthest, kFarthest)); };
    return {whole(std::floor(rect.x0)), whole(std::floor(rect.y0)), whole(std::ceil(rect.x1)),
            whole(std::ceil(rect.y1))};
}

// The nearest whole pixels, one at least: what is drawn thinner than a pixel is still seen.
inline RECTL nearest_pixels(fz_rect rect) {
    auto edges = [](float low, float high, LONG& first, LONG& end) {
        first = nearest_pixel(low);
        end = nearest_pixel(high);
        if (first < end) return;
        first = static_cast<LONG>(std::floor(std::clamp((low + high) / 2, -kFarthest, kFarthest)));
        end = first + 1;
    };
    RECTL pixels;
    edges(rect.x0, rect.x1, pixels.left, pixels.right);
    edges(rect.y0, rect.y1, pixels.top, pixels.bottom);
    return pixels;
}

inline RECTL common(const RECTL& a, const RECTL& b) {
    return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right), std::min(a.bottom, b.bottom)};
}

// A colour of the surface, blue low, as MuPDF takes it.
struct Rgb {
    float components[3];
    explicit Rgb(ULONG colour) {
        for (int i = 0; i < 3; ++i) components[i] = static_cast<float>(colour >> (16 - 8 * i) & 0xFF) / 255;
    }
};

inline bool is_empty(const RECTL& rect) { return rect.left >= rect.right || rect.top >= rect.bottom; }

}  // namespace kvprint
