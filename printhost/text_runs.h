#pragma once
// Text cut into runs whose glyphs stand on one baseline, one behind the other, as the driver tells them: by the first
// one's pixel and whole advances along the baseline. A column of vertical text is one run, too: its glyphs stand beside
// the baseline through the first one.

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
    bool off_baseline;
    std::vector<PlacedGlyph> glyphs;
    std::vector<POINTL> origins;
};

// degrees: of the baseline, counter-clockwise. vertical: the text runs across its baseline. Text that runs backwards is
// turned round. What is told leads to within a pixel of every glyph.
std::vector<TextRun> split_runs(std::vector<PlacedGlyph> glyphs, double degrees, bool vertical = false);

}  // namespace kvprint
