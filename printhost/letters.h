#pragma once
// What became of the letters of a document, by the kinds of their fonts.

#include <map>
#include <string>

#include "printhost/mupdf.h"

namespace kvprint {

struct LetterCount {
    // Stroked: letters drawn by their edges, as a pen draws them.
    size_t as_text = 0, as_outlines = 0, in_images = 0, stroked = 0;
};
using LetterCounts = std::map<std::string, LetterCount>;
using LettersOfKinds = std::map<std::string, size_t>;

// "TrueType", "OpenType", "Type 1", "CFF" or "Type 3", by the font's program; "other" for the rest.
std::string kind_of(const fz_font& font);
// Glyphs that are drawn; glyph 0 stands for what the font lacks.
size_t letters_of(const fz_text_span& span);
void count_letters(const fz_text& text, LettersOfKinds& letters);

}  // namespace kvprint
