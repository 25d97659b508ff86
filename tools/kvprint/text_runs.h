#pragma once
// Text cut into runs whose glyphs stand on one baseline, one behind the other, as the driver tells them: by the first
// one's pixel and whole advances along the baseline.

#include <cstdint>
#include <vector>

#include "platform/win32.h"

namespace kvprint {

struct PlacedGlyph {
    double x, y;  // device pixels
    uint16_t glyph;
    char16_t character;  // 0: the font's own map does not give the glyph for one
};

struct TextRun {
    bool by_character;
    std::vector<PlacedGlyph> glyphs;
    std::vector<POINTL> origins;
};

// degrees: of the baseline, counter-clockwise. What is told leads to within a pixel of every glyph.
std::vector<TextRun> split_runs(const std::vector<PlacedGlyph>& glyphs, double degrees);

}  // namespace kvprint
