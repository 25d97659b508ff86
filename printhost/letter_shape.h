#pragma once
// How text draws its letters: what of a glyph matrix a logical font says, and what a font file must.

#include <mupdf/fitz.h>

#include <optional>

namespace kvprint {

struct LetterShape {
    float across, up;  // pixels an em
    float angle;       // of the baseline, radians clockwise
    int slant;         // how far the letters lean to the right, 1/256 of their height: not a logical font's to say
};

inline constexpr int kSlantSteps = 256;

// matrix: from an em, y upwards, to pixels, y downwards. Nothing for letters that are mirrored, flat or lean too far.
std::optional<LetterShape> shape_of(const fz_matrix& matrix);

}  // namespace kvprint
