#pragma once
// Small TrueType fonts and collections, built table by table. Every glyph is blank; names are Windows English ones.

#include <string>
#include <utility>
#include <vector>

#include "platform/win32.h"

namespace kv::test {

struct FontPlan {
    std::u16string family = u"Test Sans", full = u"Test Sans", postscript = u"TestSans", unique = u"Test Sans 1";
    // Ascending characters with their advances, of 1000 units to the em. The first has glyph 1, the next glyph 2.
    std::vector<std::pair<char16_t, int>> glyphs = {
        {u' ', 250}, {u'A', 600}, {u'B', 500}, {u'C', 400}, {u'\u00E9', 300}};
    int average_width = 450;
    bool symbol = false;    // the map is in the symbol encoding
    bool variable = false;  // has an empty 'fvar' table
};

std::vector<BYTE> build_font(const FontPlan& plan);
std::vector<BYTE> build_collection(const std::vector<FontPlan>& plans);

}  // namespace kv::test
