#pragma once
// What the names of a font's glyphs say of their text.

#include <cstdint>
#include <functional>
#include <string>

namespace kvjob {

// "uni0061.sc" is an a, "f_f_i" three letters. character_of_glyph: what a glyph of a whole name stands for, 0 when
// there is no such glyph. Empty where the name says nothing.
std::u32string text_of_glyph_name(const std::string& name,
                                  const std::function<uint32_t(const std::string&)>& character_of_glyph);

}  // namespace kvjob
