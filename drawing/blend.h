#pragma once
// Raster operations as what blending can do. Of a known pattern and source an operation does one of three things to a
// channel of the page: it leaves it, inverts it, or sets it.

#include <cairo.h>

#include <array>
#include <optional>

#include "drawing/raster_ops.h"

namespace kvjob {

// Colours, 0x00RRGGBB, to be put on the page one after another.
struct Blend {
    uint32_t difference = 0;     // 0xFF in channels that are inverted
    uint32_t factor = 0xFFFFFF;  // 0 in channels that are set
    uint32_t screen = 0;         // what they are set to

    bool leaves() const { return difference == 0 && factor == 0xFFFFFF; }
    bool sets_all() const { return factor == 0; }
};

struct BlendStep {
    cairo_operator_t operation;
    uint32_t Blend::*colour;
    uint32_t neutral;
};
inline constexpr std::array<BlendStep, 3> kBlendSteps = {{{CAIRO_OPERATOR_DIFFERENCE, &Blend::difference, 0},
                                                          {CAIRO_OPERATOR_MULTIPLY, &Blend::factor, 0xFFFFFF},
                                                          {CAIRO_OPERATOR_SCREEN, &Blend::screen, 0}}};

// Nothing for an operation that changes some bits of a channel and leaves others.
inline std::optional<Blend> blend_of(const RasterOp& operation, uint32_t pattern, uint32_t source) {
    const uint32_t of_black = operation(pattern, source, 0), of_white = operation(pattern, source, ~uint32_t{0});
    Blend blend;
    for (uint32_t channel = 0xFF; channel <= 0xFF0000; channel <<= 8) {
        const uint32_t dark = of_black & channel, light = of_white & channel;
        if (dark == light) {
            blend.factor &= ~channel;
            blend.screen |= dark;
        } else if (dark == channel && light == 0) {
            blend.difference |= channel;
        } else if (dark != 0 || light != channel) {
            return std::nullopt;
        }
    }
    return blend;
}

}  // namespace kvjob
