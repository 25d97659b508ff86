#pragma once
// TrueType and OpenType fonts as a PDF file holds them: often without the tables that a system wants of a font.

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "printhost/big_endian.h"

namespace kvprint {

// What the glyphs of a font stand for, each for one text or for several.
using GlyphTexts = std::map<uint16_t, std::vector<std::u32string>>;

// The one character of the basic plane that says a text: its own, or the ligature of its letters. 0: there is none.
char16_t character_of(const std::u32string& text);
// Which glyph shows a character; of several that stand for it the first.
using CharacterMap = std::map<char16_t, uint16_t>;
CharacterMap make_map(const GlyphTexts& texts);
// The map gives the glyph for the text.
bool is_mapped(const CharacterMap& map, uint16_t glyph, const std::u32string& text);
// A name that says the characters by their numbers ("uni0066_uni0069"), of 63 letters at most.
std::string glyph_name(const std::u32string& text);

using FontTables = std::map<uint32_t, FontBytes>;
constexpr uint32_t font_tag(const char (&text)[5]) {
    uint32_t tag = 0;
    for (int i = 0; i < 4; ++i) tag = tag << 8 | static_cast<uint8_t>(text[i]);
    return tag;
}
// A font file of these tables, of OpenType with a table "CFF ", else of TrueType.
FontBytes make_sfnt(const FontTables& tables);

bool is_collection(std::span<const uint8_t> file);
// A TrueType or OpenType file, or a collection of them, by its first bytes.
bool is_sfnt(std::span<const uint8_t> file);

class Sfnt {
public:
    // The bytes must outlive the object.
    explicit Sfnt(const FontBytes& bytes);

    // One font, not a collection, with the tables that its outlines and advances stand in.
    bool is_usable() const;
    // It has all tables that a system asks for, with a character map for Windows and a full name that goes with it.
    bool is_complete() const;
    // For Windows, of Unicode characters.
    bool has_unicode_map() const;
    // Its full names and PostScript names; characters beyond ASCII are question marks.
    std::vector<std::string> names() const;

    // The font with what it lacks, under that name. A font without a Unicode map has one of the texts that are single
    // characters. Where a glyph's text is no character of the map, the glyph's name says it, in TrueType fonts.
    FontBytes completed(const std::string& name, const GlyphTexts& texts) const;

private:
    struct Table {
        uint32_t tag;
        size_t offset, length;
    };
    const Table* find(const char (&tag)[5]) const;
    uint16_t u16(const char (&tag)[5], size_t at) const;
    // The encoding of its map for Windows, the first one of format 4.
    std::optional<uint16_t> windows_map() const;
    bool has_full_name(uint16_t encoding) const;
    FontBytes make_named_post(const GlyphTexts& texts) const;
    std::string name_at(size_t record) const;
    FontBytes make_os2(bool bold, bool italic) const;
    uint16_t average_advance() const;

    const FontBytes& bytes_;
    std::vector<Table> tables_;
};

}  // namespace kvprint
