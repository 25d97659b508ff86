#pragma once
// How text in a font runs over the page.

#include "record/realized_font.h"

namespace kv {

// The size fields of a logical font: height, width where the transform stretches, and rotation.
void set_size(LOGFONTW& font, const XFORML& transform, const IFIMETRICS& metrics);
// escapement: of the logical font, tenths of a degree from 0 to 3599.
TextLayout make_text_layout(FONTOBJ* font, const IFIMETRICS& metrics, const XFORML& transform, LONG escapement);
// Along the baseline, in whole device pixels; 0 when the engine cannot tell.
LONG rounded_advance(FONTOBJ* font, HGLYPH glyph);

// The baseline through the first glyph of a run. Distances and places are whole device pixels.
class Baseline {
public:
    Baseline(const TextLayout& layout, POINTL start) : layout_(layout), start_(start) {}

    // How far above the baseline a place lies.
    int64_t offset(POINTL at) const;
    // The place on the baseline beneath it.
    POINTL project(POINTL at) const;
    int64_t advance(POINTL from, POINTL to) const;
    // The place behind a glyph.
    POINTL behind(POINTL at, LONG advance) const;

private:
    const TextLayout& layout_;
    POINTL start_;
};

}  // namespace kv
