#pragma once
// A font's description of itself, made from its tables.

#include <ft2build.h>
#include FT_FREETYPE_H

#include <string>
#include <vector>

#include "engine/wide_string.h"
#include "platform/ddi.h"

namespace kv::engine {

struct FontTexts {
    WideString family, style, face, unique;
};

// The Windows names, English ones first.
FontTexts read_font_texts(FT_Face face);
// An IFIMETRICS with its texts behind it. is_symbol: the character map is a symbol font's.
std::vector<BYTE> make_metrics(FT_Face face, const FontTexts& texts, bool is_symbol);
// The same description under other texts.
std::vector<BYTE> with_texts(const std::vector<BYTE>& metrics, const FontTexts& texts);

}  // namespace kv::engine
