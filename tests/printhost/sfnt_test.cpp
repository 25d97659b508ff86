#include "printhost/sfnt.h"

#include <gtest/gtest.h>

#include <numeric>

#include "engine/font.h"
#include "tests/printhost/font_tables.h"

namespace kvprint {
namespace {

const FontBytes& whole_font() {
    static const FontBytes font = read_font(kMonoFont);
    return font;
}

TEST(Sfnt, WhatAFontHolds) {
    const FontBytes& whole = whole_font();
    const Sfnt font(whole);
    EXPECT_TRUE(font.is_usable());
    EXPECT_TRUE(font.is_complete());
    const std::vector<std::string> names = font.names();
    EXPECT_NE(std::find(names.begin(), names.end(), "DejaVu Sans Mono"), names.end());
    EXPECT_NE(std::find(names.begin(), names.end(), "DejaVuSansMono"), names.end());

    const FontBytes part = with_tables(whole, kTablesOfPdf);
    EXPECT_TRUE(Sfnt(part).is_usable());
    EXPECT_FALSE(Sfnt(part).is_complete());
    EXPECT_FALSE(Sfnt(part).has_unicode_map());
    EXPECT_FALSE(Sfnt(with_tables(whole, {"head", "hhea", "hmtx", "maxp", "glyf"})).is_usable());
}

TEST(Sfnt, WhatIsMissingIsMade) {
    const FontBytes part = with_tables(whole_font(), kTablesOfPdf);
    // A run, a gap in the characters, one in the glyphs.
    const CharacterMap characters = {{'A', 36}, {'B', 37}, {'C', 38}, {'a', 50}, {'b', 70}, {0x416, 71}};
    GlyphTexts texts;
    for (const auto& [character, glyph] : characters) texts[glyph] = {std::u32string(1, character)};
    texts[72] = {U"fj"};
    texts[73] = {U"A"};  // another form
    texts[74] = {U"\U00028A38"};
    texts[75] = {U"ffi", U"\xAD"};  // the ligature's character, and another that the glyph stands for
    const FontBytes made = Sfnt(part).completed("ABCDEF+Mono-BoldOblique", texts);
    const Sfnt font(made);
    EXPECT_TRUE(font.is_complete());
    EXPECT_EQ(font.names(), std::vector<std::string>({"ABCDEF+Mono-BoldOblique", "ABCDEF+Mono-BoldOblique"}));
    for (const std::string& tag : kTablesOfPdf) {
        if (tag == "head") continue;  // it holds the checksum of the whole
        EXPECT_EQ(table_of(made, tag), table_of(part, tag)) << tag;
    }

    kv::engine::FontFile file(std::vector<BYTE>(made.begin(), made.end()));
    kv::engine::Face& face = file.face(0);
    for (const auto& [character, glyph] : characters) EXPECT_EQ(face.glyph_of(character), glyph);
    EXPECT_EQ(face.glyph_of(0xFB03), 75u);
    EXPECT_EQ(face.glyph_of(0xAD), 75u);
    for (char16_t other : {u'@', u'D', u'c', u'\xFFFF'}) EXPECT_EQ(face.glyph_of(other), 0u) << int{other};
    const auto& metrics = *reinterpret_cast<const IFIMETRICS*>(face.metrics().data());
    EXPECT_EQ(metrics.usWinWeight, 700);
    EXPECT_EQ(metrics.fsSelection & 1, 1);
    EXPECT_EQ(metrics.fwdAveCharWidth, 1233);
    EXPECT_EQ(std::u16string(reinterpret_cast<const char16_t*>(face.metrics().data() + metrics.dpwszFaceName)),
              u"ABCDEF+Mono-BoldOblique");

    // Names for what the map cannot say, in the order of the glyphs.
    const FontBytes post = table_of(made, "post");
    const std::string text(post.begin(), post.end()), names = "\x0Funi0066_uni006A\x07uni0041\x06u28A38";
    EXPECT_EQ(text.substr(0, 4), std::string("\0\2\0\0", 4));
    EXPECT_EQ(text.substr(34 + 2 * 71, 10), std::string("\0\0\1\2\1\3\1\4\0\0", 10));
    EXPECT_EQ(text.substr(text.size() - names.size()), names);
}

// The map of a subset often is one of symbols, whose numbers are the subset's own.
TEST(Sfnt, SymbolMaps) {
    FontBytes symbols = Sfnt(with_tables(whole_font(), kTablesOfPdf)).completed("Mono", {{36, {U"A"}}});
    const FontBytes map = table_of(symbols, "cmap");
    const auto at = std::search(symbols.begin(), symbols.end(), map.begin(), map.end());
    at[7] = 0;                                  // the encoding of its only record
    EXPECT_FALSE(Sfnt(symbols).is_complete());  // the names are those of Unicode maps
    const FontBytes kept = Sfnt(symbols).completed("Mono", {}), known = Sfnt(symbols).completed("Mono", {{37, {U"B"}}});
    EXPECT_TRUE(Sfnt(kept).is_complete());
    // Version 0, five names behind the records; the first is of platform 3, encoding 0, US English, name 1.
    const FontBytes names = table_of(kept, "name");
    EXPECT_EQ(FontBytes(names.begin(), names.begin() + 14), FontBytes({0, 0, 0, 5, 0, 66, 0, 3, 0, 0, 4, 9, 0, 1}));
    EXPECT_FALSE(Sfnt(kept).has_unicode_map());
    EXPECT_TRUE(Sfnt(known).is_complete());
    EXPECT_TRUE(Sfnt(known).has_unicode_map());
}

// The words of a font file sum up to a fixed number, and so do those of each table to its entry's.
TEST(Sfnt, Checksums) {
    const FontBytes made = Sfnt(with_tables(whole_font(), kTablesOfPdf)).completed("Mono", {});
    auto word = [&](size_t at) {
        return uint32_t{made[at]} << 24 | uint32_t{made[at + 1]} << 16 | uint32_t{made[at + 2]} << 8 | made[at + 3];
    };
    ASSERT_EQ(made.size() % 4, 0u);
    uint32_t sum = 0;
    for (size_t at = 0; at < made.size(); at += 4) sum += word(at);
    EXPECT_EQ(sum, 0xB1B0AFBAu);
    EXPECT_EQ(table_of(made, "cmap").size(), 12u + 24u);  // one segment, which ends the list
}

TEST(Sfnt, DamagedFilesAreNoFonts) {
    const FontBytes& whole = whole_font();
    for (size_t length : {size_t{0}, size_t{4}, size_t{11}, size_t{12}, size_t{200}, whole.size() / 2}) {
        const FontBytes cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length));
        EXPECT_FALSE(Sfnt(cut).is_complete()) << length;
    }
    EXPECT_FALSE(Sfnt({'t', 't', 'c', 'f', 0, 1, 0, 0, 0, 0, 0, 1}).is_usable());
    FontBytes lying = whole;  // every table beyond the end
    for (size_t entry = 12; entry < 12 + 16 * size_t{lying[5]}; entry += 16) lying[entry + 8] = 0x7F;
    EXPECT_FALSE(Sfnt(lying).is_usable());
    FontBytes short_name = with_tables(whole, {"name"});
    std::fill_n(short_name.begin() + 12 + 12, 3, uint8_t{0});
    short_name[12 + 15] = 200;  // its records reach beyond
    for (const std::string& name : Sfnt(short_name).names()) EXPECT_EQ(name, "");
}

}  // namespace
}  // namespace kvprint
