#pragma once
// The path hooks' work: paths turned into records, and the ink that they leave on the page.

#include "record/draw_state.h"
#include "record/path_encoder.h"
#include "record/record_types.h"

namespace kv {

struct Document;
struct DrawAttrs;

// What a path is drawn with. Mixes are binary raster operations (R2_*); what is absent is null.
struct PathDrawing {
    BYTE record_type;  // of the 16-bit form
    XFORMOBJ* transform = nullptr;
    BRUSHOBJ* stroke_brush = nullptr;
    const LINEATTRS* line = nullptr;
    BYTE stroke_mix = 0xFF;
    BRUSHOBJ* fill_brush = nullptr;
    BYTE fill_mix = 0xFF;
    FLONG fill_options = 0;
};

// Writes the clip, the drawing state and the path, or keeps the path when a path escape captures. TRUE also when
// the drawing cannot change the page and nothing is written.
BOOL RecordPath(Document& document, PATHOBJ* path, CLIPOBJ* clip, PathDrawing drawing);

// What drawing a path covers, device pixels: a stroke with a pen of more than a pixel reaches beyond it by half of the
// pen, more at corners and square ends, and by the pixel in whose middle it runs.
RECTL drawn_bounds(const RECTL& path, bool strokes, const DrawAttrs& attrs);
// Nothing was drawn on the page yet and nothing is held back, so that white cannot be seen.
bool is_page_blank(const Document& document);

}  // namespace kv
