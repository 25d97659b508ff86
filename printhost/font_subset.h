#pragma once
// Parts of TrueType and OpenType files, made by HarfBuzz.

#include "printhost/sfnt.h"

namespace kvprint {

// Old numbers of glyphs and new ones. 0 is none of them.
using GlyphNumbers = std::map<uint16_t, uint16_t>;

struct FontSubset {
    FontBytes bytes;  // empty for a file that is none of a font
    GlyphNumbers numbers;
};
// The glyphs with what they are composed of, under new numbers, as a file of one font: tables for outlines and metrics,
// no character map, no names. member: of a collection.
FontSubset make_subset(std::span<const uint8_t> file, unsigned member, const std::vector<uint16_t>& glyphs,
                       bool keep_instructions);

// A member of a collection as a file of its own; empty when there is none.
FontBytes member_of(std::span<const uint8_t> file, unsigned member);

// The texts, with the characters of the font's own map where nothing else is known of a glyph.
GlyphTexts with_own_characters(GlyphTexts texts, std::span<const uint8_t> file, unsigned member);

}  // namespace kvprint
