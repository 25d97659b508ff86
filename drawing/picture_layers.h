#pragma once
// Pictures as surfaces that cairo can place, and what raster operations make of them.

#include <map>
#include <optional>

#include "drawing/blend.h"
#include "drawing/cairo_handles.h"
#include "drawing/canvas.h"

namespace kvjob {

// A picture that goes on the page with an operator. A stencil is a mask of one bit that a colour is painted through.
struct PictureLayer {
    cairo_operator_t operation = CAIRO_OPERATOR_OVER;
    cairo_surface_t* surface = nullptr;      // good until the page ends
    std::optional<uint32_t> stencil_colour;  // 0x00RRGGBB
    bool repeated = false;                   // the same surface is on the page already
};

// The pictures of a page. The same pixels are the same surface, and carry what tells a file to hold them once.
class Pictures {
public:
    // Bytes for the pictures of a page.
    explicit Pictures(uint64_t memory) : memory_(memory) {}
    void end_page();

    // Nothing where the picture is too large for cairo or the memory. Throws BodyFault where it is damaged.
    std::optional<PictureLayer> copy_of(const PixelSource& pixels);
    // Nothing either where the operation cannot be said, or needs blending that is not at hand.
    std::optional<std::vector<PictureLayer>> layers_of(const PixelSource& pixels, uint8_t rop, uint32_t pattern,
                                                       bool blending);

private:
    bool fits(const PixelSource& pixels, uint64_t bytes_per_pixel) const;
    PictureLayer keep(Surface surface, Bytes content);

    uint64_t memory_, held_ = 0;
    std::map<std::string, Surface> surfaces_;  // by what tells them apart
};

}  // namespace kvjob
