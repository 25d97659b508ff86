#pragma once
// Strings as the graphics engine hands them to a driver: glyphs at device positions, enumerated in batches.

#include <string>
#include <vector>

#include "engine/font.h"

namespace kv::engine {

// Origins of glyphs, device pixels, and the place behind the last one.
struct Placement {
    std::vector<POINTL> origins;
    POINTL end;
};

// Of a line from one origin to the place behind its last glyph, between the font's ascender and descender.
RECTL line_box(Font& font, POINTL start, POINTL end);

class String : public STROBJ {
public:
    // One glyph a unit, placed by the font's advances along its baseline; each origin is rounded to whole pixels.
    String(Font& font, const WideString& characters, POINTL origin);
    // One glyph a unit, where they are placed. The placement has as many origins as there are units.
    String(Font& font, const WideString& characters, Placement placement);
    // Text of glyph indices (SO_GLYPHINDEX_TEXTOUT).
    String(Font& font, const std::vector<USHORT>& glyphs, Placement placement);
    String(const String&) = delete;
    String& operator=(const String&) = delete;

    // flAccel, ulCharInc and rclBkGround may be set as they are; the background is that of the line at first.

    // Glyphs in a batch at most. A string of more must be enumerated.
    void set_batch(ULONG glyphs);
    // An empty batch, without a place for glyphs, comes before each other one.
    void set_empty_batches(bool on) { empty_batches_ = on; }
    // As a damaged engine: batches have no place for their glyphs.
    void lose_glyphs() { lost_ = true; }
    void set_code_page(DWORD code_page) { code_page_ = code_page; }
    DWORD code_page() const { return code_page_; }

    void start_enumeration();
    // False with the last batch.
    bool next_batch(ULONG& count, GLYPHPOS*& glyphs);

private:
    void take(Font& font, Placement placement);

    std::vector<WCHAR> units_;
    std::vector<GLYPHPOS> glyphs_;
    ULONG batch_;
    size_t next_ = 0;
    bool empty_batches_ = false, empty_given_ = false, lost_ = false;
    DWORD code_page_ = 0;
};

}  // namespace kv::engine
