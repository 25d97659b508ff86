#pragma once
// TrueType and OpenType fonts as a PDF file holds them: often without the tables that a system wants of a font.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kvprint {

using FontBytes = std::vector<uint8_t>;

struct GlyphOfCharacter {
    char16_t character;
    uint16_t glyph;
};

class Sfnt {
public:
    // The bytes must outlive the object.
    explicit Sfnt(const FontBytes& bytes);

    // One font, not a collection, with the tables that its outlines and advances stand in.
    bool is_usable() const;
    // It has all tables that a system asks for, the Windows full name among them.
    bool is_complete() const;
    bool has_character_map() const;
    // Its full names and PostScript names; characters beyond ASCII are question marks.
    std::vector<std::string> names() const;

    // The font with what it lacks, under that name. characters: the map of a font that has none, ascending.
    FontBytes completed(const std::string& name, const std::vector<GlyphOfCharacter>& characters) const;

private:
    struct Table {
        uint32_t tag;
        size_t offset, length;
    };
    const Table* find(const char* tag) const;
    uint16_t u16(const char* tag, size_t at) const;
    uint16_t windows_encoding() const;
    bool has_windows_full_name() const;
    std::string name_at(size_t record) const;
    FontBytes make_os2(bool bold, bool italic) const;
    uint16_t average_advance() const;

    const FontBytes& bytes_;
    std::vector<Table> tables_;
};

}  // namespace kvprint
