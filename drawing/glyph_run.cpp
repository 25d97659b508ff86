#include "drawing/glyph_run.h"

#include <cmath>
#include <numbers>

#include "reader/utf.h"

namespace kvjob {

Baseline baseline_of(const FontDefinition& font) {
    constexpr int kTurn = 3600, kSlack = 9;  // tenths of a degree
    int angle = font.escapement % kTurn;
    if (angle < 0) angle += kTurn;
    constexpr Baseline kUpright[] = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}};
    for (int quarter = 0; quarter <= 4; ++quarter) {
        if (std::abs(angle - quarter * kTurn / 4) <= kSlack) return kUpright[quarter % 4];
    }
    const double radians = angle * 2 * std::numbers::pi / kTurn;
    return {std::cos(radians), std::sin(radians)};
}

std::vector<PlacedGlyph> place_glyphs(const TextRun& run, const FontDefinition& font, Face* face) {
    const Baseline line = baseline_of(font);
    std::vector<PlacedGlyph> placed;
    double along = 0;
    for (size_t i = 0; i < run.count; ++i) {
        const double up = run.offsets.empty() ? 0 : static_cast<int16_t>(run.offsets[i]);
        PlacedGlyph glyph = {0, 0, run.x + along * line.cosine - up * line.sine,
                             run.y - along * line.sine - up * line.cosine, 0};
        glyph.advance = static_cast<int16_t>(run.advances[i]);
        along += glyph.advance;
        if (!run.characters.empty()) glyph.character = run.characters[i];
        if (!run.glyphs.empty()) glyph.glyph = run.glyphs[i];
        const bool second_half =
            i > 0 && is_low_surrogate(glyph.character) && !placed.empty() && is_high_surrogate(placed.back().character);
        if (second_half) {
            placed.back().character = joined(placed.back().character, glyph.character);
            placed.back().advance += glyph.advance;
        } else {
            placed.push_back(glyph);
        }
    }
    for (PlacedGlyph& glyph : placed) {
        if (!face) break;
        if (run.glyphs.empty()) glyph.glyph = face->glyph_of(glyph.character);
        if (run.characters.empty()) glyph.character = face->character_of(glyph.glyph);
    }
    return placed;
}

double stretch_of(const FontDefinition& font, const Face& face) {
    const double natural = -font.height * face.average_width();
    return font.width > 0 && natural > 0 ? font.width / natural : 1;
}

}  // namespace kvjob
