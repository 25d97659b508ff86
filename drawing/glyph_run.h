#pragma once
// The glyphs of a text record where they stand.

#include <memory>
#include <vector>

#include "drawing/font_store.h"

namespace kvjob {

struct PlacedGlyph {
    uint32_t character;  // 0 where it is not known
    uint32_t glyph;      // of the face; 0 where it has none
    double x, y;         // of the origin, device pixels
    double advance;      // to the next glyph's origin along the baseline, device pixels
};

// The direction of a font's baseline, upright directions exactly: to the right at 0, counter-clockwise.
struct Baseline {
    double cosine, sine;
};
Baseline baseline_of(const FontDefinition& font);

// Advances and offsets are signed. The two halves of a surrogate pair are one glyph.
std::vector<PlacedGlyph> place_glyphs(const TextRun& run, const FontDefinition& font, Face* face);

// How much wider than it is the face is drawn.
double stretch_of(const FontDefinition& font, const Face& face);

}  // namespace kvjob
