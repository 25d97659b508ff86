#pragma once
// Tints as cairo's sources.

#include "drawing/cairo_handles.h"
#include "drawing/canvas.h"
#include "drawing/raster_ops.h"

namespace kvjob {

// A tint without the operation: what a copy of it puts down. Nothing is left of an operation that reads the page or a
// source, or that changes a tile's colours.
inline std::optional<Tint> copied(uint8_t rop, const Tint& tint) {
    constexpr uint32_t kColours = 0xFFFFFF;
    constexpr uint8_t kPatternCopy = 0xF0;
    if (rop_reads_destination(rop) || rop_reads_source(rop)) return std::nullopt;
    if (rop_reads_pattern(rop) && tint.kind == Tint::Kind::Tile) {
        return rop == kPatternCopy ? std::optional<Tint>(tint) : std::nullopt;
    }
    return Tint::of(RasterOp(rop)(tint.colour, 0, 0) & kColours);
}

// The context's user space is the job's device pixels.
inline void set_source(cairo_t* context, const Tint& tint) {
    if (tint.kind != Tint::Kind::Tile) {
        const uint32_t c = tint.colour;
        cairo_set_source_rgb(context, (c >> 16 & 0xFF) / 255.0, (c >> 8 & 0xFF) / 255.0, (c & 0xFF) / 255.0);
        return;
    }
    cairo_set_source_surface(context, tint.tile, 0, 0);
    cairo_pattern_set_extend(cairo_get_source(context), CAIRO_EXTEND_REPEAT);
    // Pixels of a pattern stay squares where they are made larger.
    cairo_matrix_t matrix;
    cairo_get_matrix(context, &matrix);
    const bool shrinks = matrix.xx < 1 && cairo_surface_get_type(cairo_get_target(context)) == CAIRO_SURFACE_TYPE_IMAGE;
    cairo_pattern_set_filter(cairo_get_source(context), shrinks ? CAIRO_FILTER_GOOD : CAIRO_FILTER_NEAREST);
}

// A brush that paints nothing, in an operation that needs one.
inline bool draws_nothing(uint8_t rop, const Tint& tint) {
    return rop_reads_pattern(rop) && tint.kind == Tint::Kind::Nothing;
}

}  // namespace kvjob
