#pragma once
// TrueType and OpenType fonts as a PDF file holds them: often without the tables that a system wants of a font.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace kvprint {

using FontBytes = std::vector<uint8_t>;

// What the glyphs of a font stand for.
using GlyphTexts = std::map<uint16_t, std::u32string>;

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
    // characters. Where a glyph's text is no character of the map, the glyph's name says it ("uni0066_uni0069").
    FontBytes completed(const std::string& name, const GlyphTexts& texts) const;

private:
    struct Table {
        uint32_t tag;
        size_t offset, length;
    };
    const Table* find(const char* tag) const;
    uint16_t u16(const char* tag, size_t at) const;
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
