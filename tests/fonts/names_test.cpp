// What fonts call themselves: decoding of records, choice of the best, and the questions that need no copy.

#include <map>

#include "fonts/encodings.h"
#include "fonts/font_names.h"
#include "fonts/full_name_reader.h"
#include "tests/fonts/reader_test.h"

namespace kv {
namespace {

using namespace test;

using FontNamesTest = HostTest;

// A decoded record as "language/code page/form:text", or empty.
std::string decode(const Name& name, const NameContext& context = {}) {
    const Bytes bytes = name_table({name});
    const NameTable table(bytes, ByteOrder::File);
    NameText text;
    LANGID language = 0;
    if (DecodeNameRecord(table, table.record(0), context, text, language) != Decoded::Text) return "";
    char head[32];
    std::snprintf(head, sizeof head, "%X/%u/", unsigned{language}, unsigned{text.code_page()});
    if (text.ansi()) return head + ("8:" + narrow(text));
    std::string units;
    for (char16_t unit : wide(text)) units += unit < 128 ? std::string(1, static_cast<char>(unit)) : "?";
    return head + ("16:" + units);
}

TEST_F(FontNamesTest, DecodesMacintoshRecords) {
    const std::tuple<Name, UINT, const char*> cases[] = {
        {mac_name(1, ascii("Abc")), 0, "409/1252/8:Abc"},
        {mac_name(1, ascii("Abc"), 11), 0, "411/1252/8:Abc"},
        {mac_name(1, ascii("Abc"), 151), 0, "0/1252/8:Abc"},
        {mac_name(1, ascii("Abc")), 1250, "409/1250/8:Abc"},
        // Beyond ASCII: not as Latin text, which the Macintosh encodes otherwise.
        {mac_name(1, ascii("Caf\x8E")), 0, ""},
        {mac_name(1, ascii("Caf\x8E")), 1252, ""},
        {mac_name(1, ascii("A\x7F")), 0, ""},
        {mac_name(1, ascii("A\x1F")), 0, ""},
        {mac_name(1, ascii("\xCF\xF0"), 32), 1251, "419/1251/8:\xCF\xF0"},
        // The script's code page comes first where it has one.
        {mac_name(1, ascii("\x82\xA0"), 11, 1), 1251, "411/932/8:\x82\xA0"},
        {mac_name(1, ascii("\xE9"), 0, 8), 1251, "419/1251/8:\xE9"},
        {mac_name(1, ascii("\xD0"), 0, 8), 1254, "41F/1254/8:\xD0"},
        {mac_name(1, ascii("\xC7"), 0, 8), 1256, "401/1256/8:\xC7"},
        {mac_name(1, ascii("\xD0"), 0, 8), 1258, "42A/1258/8:\xD0"},
        {mac_name(1, ascii("\xE9"), 0, 8), 0, ""},
        {mac_name(1, ascii("Abc"), 0, 33), 0, "409/1252/8:Abc"},
        // English is not believed where the text is none.
        {mac_name(1, ascii("\x82\xA0"), 0, 1), 0, "411/932/8:\x82\xA0"},
        {mac_name(1, ascii("Abc"), 0, 1), 0, "409/932/8:Abc"},
        // A zero byte: 16-bit units, for traditional Chinese only.
        {mac_name(1, Bytes{0, 0xA4, 0, 0x40}, 19, 2), 0, "404/950/8:\xA4\x40"},
        {mac_name(1, Bytes{0, 0xA4, 0, 0x40}, 0, 2), 0, ""},
        {mac_name(1, Bytes{0, 'A', 0, 'b'}, 19, 0), 0, ""},
        {mac_name(1, Bytes{0, 0xA4, 0}, 19, 2), 0, ""},
        {mac_name(1, Bytes{1, 0xA4, 0, 0x40}, 19, 2), 0, ""},
        {mac_name(1, Bytes{0, 0}, 19, 2), 0, ""},
        {mac_name(1, Bytes()), 0, ""},
    };
    for (const auto& [name, font_code_page, decoded] : cases) {
        EXPECT_EQ(decode(name, {font_code_page, false, 0}), decoded)
            << "script " << name.encoding << " language " << name.language << " code page " << font_code_page;
    }
}

// The languages of the Macintosh as the OpenType format numbers them, with Windows' identifiers of the same; ids that
// are not listed mean nothing.
TEST_F(FontNamesTest, KnowsTheLanguagesAndScriptsOfTheMacintosh) {
    const std::map<WORD, LANGID> languages = {
        {0, 0x409},   {1, 0x40C},   {2, 0x407},   {3, 0x410},   {4, 0x413},   {5, 0x41D},   {6, 0x40A},   {7, 0x406},
        {8, 0x416},   {9, 0x414},   {10, 0x40D},  {11, 0x411},  {12, 0x401},  {13, 0x40B},  {14, 0x408},  {15, 0x40F},
        {16, 0x43A},  {17, 0x41F},  {18, 0x41A},  {19, 0x404},  {20, 0x420},  {21, 0x439},  {22, 0x41E},  {23, 0x412},
        {24, 0x427},  {25, 0x415},  {26, 0x40E},  {27, 0x425},  {28, 0x426},  {29, 0x43B},  {30, 0x438},  {31, 0x429},
        {32, 0x419},  {33, 0x804},  {35, 0x83C},  {36, 0x41C},  {37, 0x418},  {38, 0x405},  {39, 0x41B},  {40, 0x424},
        {42, 0x41A},  {43, 0x42F},  {44, 0x402},  {45, 0x422},  {46, 0x423},  {47, 0x443},  {48, 0x43F},  {49, 0x82C},
        {50, 0x42C},  {51, 0x42B},  {52, 0x437},  {54, 0x440},  {55, 0x428},  {56, 0x442},  {57, 0x450},  {58, 0x450},
        {59, 0x463},  {60, 0x492},  {61, 0x460},  {62, 0x459},  {63, 0x451},  {64, 0x461},  {65, 0x44F},  {66, 0x44E},
        {67, 0x445},  {68, 0x44D},  {69, 0x447},  {70, 0x446},  {71, 0x448},  {72, 0x44C},  {73, 0x44B},  {74, 0x449},
        {75, 0x44A},  {76, 0x45B},  {78, 0x453},  {79, 0x454},  {80, 0x42A},  {81, 0x421},  {83, 0x43E},  {84, 0x43E},
        {85, 0x45E},  {86, 0x473},  {89, 0x441},  {90, 0x487},  {128, 0x452}, {129, 0x42D}, {130, 0x403}, {132, 0x46B},
        {135, 0x444}, {136, 0x480}, {140, 0x456}, {141, 0x436}, {142, 0x47E}, {143, 0x45D}, {144, 0x491}, {149, 0x46F},
        {150, 0x42C}};
    const std::map<WORD, UINT> scripts = {{0, 1252},   {1, 932},    {2, 950},   {3, 949},    {4, 1256},   {5, 1255},
                                          {6, 1253},   {7, 1251},   {9, 57002}, {11, 57010}, {13, 57003}, {14, 57004},
                                          {16, 57008}, {17, 57009}, {21, 874},  {25, 936},   {30, 1258}};
    for (int id = 0; id < 0x10000; id = id < 300 ? id + 1 : id * 2 + 1) {
        const auto key = static_cast<WORD>(id);
        EXPECT_EQ(macintosh_language(key), languages.contains(key) ? languages.at(key) : 0) << id;
        EXPECT_EQ(macintosh_code_page(key), scripts.contains(key) ? scripts.at(key) : 0) << id;
    }
    const std::map<UINT, LANGID> legacy = {{874, 0x41E},  {932, 0x411},  {936, 0x804},  {949, 0x412},  {950, 0x404},
                                           {1251, 0x419}, {1252, 0x409}, {1253, 0x408}, {1254, 0x41F}, {1255, 0x40D},
                                           {1256, 0x401}, {1258, 0x42A}, {1361, 0x412}};
    for (UINT page = 0; page < 1400; ++page) {
        EXPECT_EQ(language_of_code_page(page), legacy.contains(page) ? legacy.at(page) : 0) << page;
    }
}

TEST_F(FontNamesTest, DecodesUtf16Records) {
    const NameContext big5 = {0, true, 950};
    struct Case {
        Name name;
        const char* decoded;
        NameContext context = {};
    };
    const Case cases[] = {
        {windows_name(1, u"Abc"), "409/0/16:Abc"},
        {windows_name(1, u"Abc", 0x40C, 3), "40C/936/16:Abc"},
        {windows_name(1, u"Abc", 0x409, 7), "409/0/16:Abc"},
        {{0, 3, 5, 1, big_utf16(u"Abc")}, "5/0/16:Abc"},  // no code page, whatever the encoding
        {{2, 3, 5, 1, big_utf16(u"Abc")}, ""},            // platform ISO
        {{3, 1, 0x409, 1, {0, 'A', 0}}, "409/0/16:A"},
        {{3, 1, 0x409, 1, {0}}, ""},
        {windows_name(1, std::u16string(1, u'\0')), ""},
        // English is not believed in a legacy encoding where the text is none.
        {windows_name(1, u"\x3042", 0x409, 2), "411/932/16:?"},
        {windows_name(1, u"\xE9", 0x409, 2), "409/932/16:?"},
        {windows_name(1, u"\x3042", 0x409, 1), "409/0/16:?"},
        {windows_name(1, u"\xAC00", 0x409, 6), "412/1361/16:?"},
        // Big5 bytes in 16-bit units, or real UTF-16.
        {{3, 4, 0x404, 1, {0, 0xA4, 0, 0x40}}, "404/950/8:\xA4\x40", big5},
        {windows_name(1, u"\x4E00", 0x404, 4), "", big5},
        {windows_name(1, u"Abc", 0x409, 4), "409/950/16:Abc", big5},
        {{3, 3, 0x404, 1, {0, 'A'}}, "404/936/16:A", {0, true, 936}},
    };
    for (const Case& c : cases) EXPECT_EQ(decode(c.name, c.context), c.decoded) << &c - cases;
}

TEST_F(FontNamesTest, ScoresTexts) {
    const auto score = [](const char16_t* text, LANGID language, UINT ansi) {
        NameText name;
        EXPECT_TRUE(name.assign_wide(text));
        return NameScore(name, language, ansi);
    };
    EXPECT_EQ(score(u"", 0x409, 1252), 0);
    EXPECT_EQ(score(u"Abc", 0x409, 1252), 5);
    EXPECT_EQ(score(u"Abc", 0x809, 932), 5) << "any English";
    EXPECT_EQ(score(u"Caf\xE9", 0x40C, 1252), 4);
    EXPECT_EQ(score(u"Abc", 0x411, 932), 4) << "in both code pages";
    EXPECT_EQ(score(u"Caf\xE9", 0x40C, 1251), 3);
    EXPECT_EQ(score(u"Caf\xE9", 0x409, 1251), 5);
    EXPECT_EQ(score(u"\x416", 0x419, 1251), 2);
    EXPECT_EQ(score(u"\x416", 0x409, 1251), 2) << "English does not help";
    EXPECT_EQ(score(u"\x416", 0x419, 1252), 1);
    EXPECT_EQ(score(u"\x3042", 0x419, 1251), 1);
    // A character pair across the 128 units that are looked at in one go.
    EXPECT_EQ(score((std::u16string(127, u'\xE9') + u"\xD83D\xDE00").c_str(), 0x409, 1252), 1);
    EXPECT_EQ(score(std::u16string(300, u'\xE9').c_str(), 0x40C, 1252), 4);

    NameText big5;
    HeapArray<char> bytes;
    ASSERT_TRUE(bytes.alloc(3));
    bytes[0] = '\xA4';
    bytes[1] = '\x40';
    big5.adopt_ansi(std::move(bytes), 950);
    EXPECT_EQ(NameScore(big5, 0x404, 950), 2);
    EXPECT_EQ(unique_id_score(big5, 1252), 1);
    NameText english;
    ASSERT_TRUE(english.assign_wide(u"Abc"));
    EXPECT_EQ(unique_id_score(english, 1252), 4);
}

Bytes font_of(const std::vector<Name>& names, const Bytes& cmap = {}, const Bytes& os2 = {}) {
    Tables tables;
    if (!os2.empty()) tables.push_back({"OS/2", os2});
    if (!cmap.empty()) tables.push_back({"cmap", cmap});
    tables.push_back({"name", name_table(names)});
    return font(tables);
}

TEST_F(FontNamesTest, PrefersEnglishAndKeepsTheEarlierOfEquals) {
    Parsed font(font_of({windows_name(1, u"Famille", 0x40C), windows_name(1, u"Family"), windows_name(1, u"Other"),
                         mac_name(1, ascii("Mac")), mac_name(1, ascii("Mac 2")), windows_name(2, u"Bold")}));
    EXPECT_EQ(wide(font->family().wide.text), u"Family");
    EXPECT_EQ(font->family().wide.language, 0x409);
    EXPECT_EQ(narrow(font->family().ansi.text), "Mac");
    EXPECT_TRUE(font->full_name().wide.text.empty() && font->full_name().ansi.text.empty());
    WCHAR unique[8];
    EXPECT_FALSE(font->unique_identifier(unique, 8));
}

TEST_F(FontNamesTest, MergesTheTwoFormsOfAName) {
    const std::tuple<std::vector<Name>, std::u16string, std::string, LANGID, LANGID> cases[] = {
        {{windows_name(1, u"Caf\xE9", 0x40C)}, u"Caf\xE9", "Caf\xE9", 0x40C, 0x40C},
        {{mac_name(1, ascii("Police"), 1)}, u"Police", "Police", 0x40C, 0x40C},
        {{mac_name(1, ascii("\xCF\xF0"), 32, 7)}, u"\x41F\x440", "\xCF\xF0", 0x419, 0x419},
        {{mac_name(1, ascii("Police"), 1), windows_name(1, u"Font")}, u"Font", "Font", 0x409, 0x409},
        {{mac_name(1, ascii("Font")), windows_name(1, u"Police", 0x40C)}, u"Font", "Font", 0x409, 0x409},
        // A language that is not known is not replaced and replaces nothing.
        {{mac_name(1, ascii("Eight"), 34), windows_name(1, u"Font")}, u"Font", "Eight", 0x409, 0},
        {{mac_name(1, ascii("Font")), {0, 3, 0, 1, big_utf16(u"Unicode")}}, u"Unicode", "Font", 0, 0x409},
        {{mac_name(1, ascii("Police"), 1), windows_name(1, u"Schrift", 0x407)}, u"Schrift", "Police", 0x407, 0x40C},
    };
    for (const auto& [names, wide_text, ansi, wide_language, ansi_language] : cases) {
        Parsed font(font_of(names));
        const NamePair& family = font->family();
        EXPECT_EQ(wide(family.wide.text), wide_text);
        EXPECT_EQ(narrow(family.ansi.text), ansi);
        EXPECT_TRUE(family.wide.language == wide_language && family.ansi.language == ansi_language) << ansi;
    }
}

TEST_F(FontNamesTest, KeepsOneUniqueIdentifierWhateverItsLanguage) {
    Parsed font(font_of({mac_name(3, ascii("First"), 1), windows_name(3, u"Second")}));
    WCHAR text[16];
    ASSERT_TRUE(font->unique_identifier(text, 16));
    EXPECT_EQ(std::u16string(text), u"First") << "8-bit text has a UTF-16 form afterwards";
    ASSERT_TRUE(font->unique_identifier(text, 4));
    EXPECT_EQ(std::u16string(text), u"Fir");
    Parsed empty(font_of({windows_name(3, u""), windows_name(1, u"Family")}));
    EXPECT_EQ(wide(empty->family().wide.text), u"Family");
}

TEST_F(FontNamesTest, RejectsMacintoshNamesBeyondAsciiByTheFontsCodePage) {
    for (int64_t code_pages : {0x1, 0x3, 0x4}) {
        Parsed font(font_of({mac_name(1, ascii("\xCF"))}, windows_cmap(), os2_table({1, code_pages})));
        EXPECT_EQ(narrow(font->family().ansi.text), code_pages == 4 ? "\xCF" : "(none)");
    }
}

TEST_F(FontNamesTest, TakesTheCodePageFromOs2OrTheCharacterMaps) {
    const std::pair<int64_t, UINT> bits[] = {
        {0x1, 1252},         {0x2, 1250},    {0x4, 1251},    {0x8, 1253},     {0x10, 1254},
        {0x20, 1255},        {0x40, 1256},   {0x80, 1257},   {0x100, 1258},   {0x10000, 874},
        {0x20000, 932},      {0x40000, 936}, {0x80000, 949}, {0x100000, 950}, {0x200000, 1361},
        {0x20000000, 10000}, {0x3, 0},       {0x200, 0},     {0, 0}};
    const Bytes big5_map = windows_cmap(4);
    for (const auto& [bit, expected] : bits) {
        UINT code_page = 7;
        EXPECT_EQ(FontCodePage(os2_table({1, bit}), big5_map, false, &code_page), expected != 0) << std::hex << bit;
        EXPECT_EQ(code_page, expected) << std::hex << bit;
    }
    UINT code_page = 7;
    EXPECT_FALSE(FontCodePage(os2_table({1, 0x1, 0x1}), {}, false, &code_page)) << "the second range must be empty";
    EXPECT_FALSE(FontCodePage(Bytes{0, 1}, big5_map, false, &code_page)) << "cut off before the ranges";

    const auto of_maps = [](const std::vector<Encoding>& encodings) {
        UINT found = 7;
        FontCodePage(os2_table({0, 0x1}), cmap(encodings, {windows_cmap()}), false, &found);
        return found;
    };
    EXPECT_EQ(of_maps({{1, 2, 0}, {3, 4, 0}, {3, 1, 0}, {1, 0, 0}}), 950u) << "those that know agree";
    EXPECT_EQ(of_maps({{1, 1, 0}, {3, 4, 0}}), 0u);
    const std::pair<int, UINT> encodings[] = {{2, 932}, {3, 936}, {4, 950}, {5, 949}, {6, 1361}};
    for (const auto& [encoding, expected] : encodings) EXPECT_EQ(of_maps({{3, encoding, 0}}), expected);
    EXPECT_EQ(of_maps({{3, 1, 0}, {1, 0, 0}, {0, 4, 0}}), 0u);
    EXPECT_EQ(of_maps({{1, 11, 0}}), 57010u);
}

FontNames read(const Tables& tables, BOOL expected = TRUE) {
    const Bytes file = font(tables);
    FontNames found;
    EXPECT_EQ(ReadFontNames(file.data(), size_of(file), found), expected);
    return found;
}

TEST_F(FontNamesTest, ReadsTheNamesOfTheWindowsMapOnly) {
    const Bytes names = name_table({mac_name(1, ascii("Mac")), windows_name(1, u"Symbol", 0x409, 0),
                                    windows_name(1, u"Unicode"), windows_name(3, u"id"), windows_name(6, u"Ps-Name")});
    FontNames found = read({{"cmap", windows_cmap(1)}, {"name", names}});
    EXPECT_EQ(wide(found.names.family.wide.text), u"Unicode");
    EXPECT_EQ(narrow(found.names.family.ansi.text), "Unicode") << "not the Macintosh one";
    EXPECT_EQ(wide(found.names.unique.text), u"id");
    EXPECT_EQ(wide(found.names.postscript.wide.text), u"Ps-Name");
    EXPECT_TRUE(found.encoding == 1 && !found.legacy_cjk && found.symbol == SymbolKind::None);

    found = read({{"cmap", windows_cmap(0)}, {"name", names}});
    EXPECT_EQ(wide(found.names.family.wide.text), u"Symbol");
    EXPECT_EQ(found.symbol, SymbolKind::SymbolEncoding);

    found = read({{"cmap", cmap({{3, 10, 0}}, {Big().u16({12, 0}).u32({16, 0, 0}).bytes})}, {"name", names}});
    EXPECT_EQ(found.encoding, 0xFFFF);
    EXPECT_EQ(narrow(found.names.family.ansi.text), "Mac") << "all platforms count";

    found = read({{"cmap", windows_cmap(4)}, {"name", name_table({{3, 4, 0x404, 1, Bytes{0, 0xA4, 0, 0x40}}})}});
    EXPECT_TRUE(found.legacy_cjk && found.encoding == 4 && found.encoding_code_page == 950 &&
                found.font_code_page == 950);
    EXPECT_EQ(wide(found.names.family.wide.text), u"\x4E00");
    EXPECT_EQ(narrow(found.names.family.ansi.text), "\xA4\x40");
}

TEST_F(FontNamesTest, RecognisesSymbolLikeUnicodeFonts) {
    const auto kind = [](const Os2Fields& fields, int encoding = 1) {
        return read({{"OS/2", os2_table(fields)}, {"cmap", windows_cmap(encoding)}, {"name", name_table({})}}).symbol;
    };
    EXPECT_EQ(kind({}), SymbolKind::None);
    EXPECT_EQ(kind({.unicode2 = 0x10000000}), SymbolKind::SymbolLikeUnicode);
    EXPECT_EQ(kind({.unicode2 = 0x10000001}), SymbolKind::None);
    EXPECT_EQ(kind({.first_char = 0xF020, .last_char = 0xF0FF}), SymbolKind::SymbolLikeUnicode);
    EXPECT_EQ(kind({.first_char = 0xF0FF, .last_char = 0xF100}), SymbolKind::None) << "two blocks";
    EXPECT_EQ(kind({.first_char = 0xF300, .last_char = 0xF301}), SymbolKind::None);
    EXPECT_EQ(kind({.unicode2 = 0x10000000}, 3), SymbolKind::None) << "no Unicode map";
}

TEST_F(FontNamesTest, FailsWhereTheNamesCannotBeRead) {
    const Bytes names = name_table({windows_name(1, u"Fam")});
    read({{"name", names}}, FALSE);
    read({{"cmap", windows_cmap()}}, FALSE);
    FontNames found;
    EXPECT_FALSE(ReadFontNames(nullptr, 100, found));
    const Bytes file = font({{"cmap", windows_cmap()}, {"name", names}});
    EXPECT_TRUE(ReadFontNames(file.data(), size_of(file), found));
    EXPECT_FALSE(ReadFontNames(file.data(), 27, found));
    EXPECT_FALSE(ReadFontNames(file.data(), 44, found)) << "the directory alone";
    EXPECT_FALSE(ReadFontNames(file.data(), size_of(file) - 4, found)) << "'name' is cut off";
    Bytes collection_file = collection({}, {{{"cmap", windows_cmap()}, {"name", names}}});
    EXPECT_FALSE(ReadFontNames(collection_file.data(), size_of(collection_file), found));

    EXPECT_EQ(IsCollection(collection_file.data(), 4), 1);
    EXPECT_EQ(IsCollection(file.data(), 4), 0);
    EXPECT_EQ(IsCollection(file.data(), 3), -1);
    EXPECT_EQ(IsCollection(nullptr, 9), -1);
}

TEST_F(FontNamesTest, RecognisesVariableFonts) {
    for (const char* name : {"fvar", "STAT", "avar"}) {
        const Bytes file = font({{name, Bytes(4)}});
        CTtf reader;
        ASSERT_TRUE(reader.LoadFromMemory(file.data(), size_of(file)));
        for (bool parsed : {false, true}) {
            EXPECT_TRUE(!parsed || reader.ParseFont());
            EXPECT_EQ(IsVariableFont(reader), name != std::string("avar")) << parsed;
        }
    }
}

std::vector<std::u16string> full_names(const CTtfFullNameReader& reader) {
    std::vector<std::u16string> names;
    for (DWORD i = 0; i < reader.full_name_count(); ++i) names.push_back(reader.full_name(i));
    return names;
}
std::vector<std::u16string> full_names(const Bytes& file) {
    return full_names(Parsed<CTtfFullNameReader>(file).reader);
}

TEST_F(FontNamesTest, CollectsTheFullNamesOfEveryLanguage) {
    const Bytes names =
        name_table({windows_name(4, u"beta"), windows_name(4, u"Alpha", 0x40C), windows_name(4, u"BETA", 0x407),
                    windows_name(4, u"Gamma", 0x411), windows_name(4, u"alpha", 0x412),
                    windows_name(4, u"Symbol", 0x409, 0), mac_name(4, ascii("Mac")), windows_name(1, u"Fam")});
    const std::vector<std::u16string> expected = {u"Alpha", u"beta", u"Gamma"};
    EXPECT_EQ(full_names(font({{"cmap", windows_cmap()}, {"name", names}})), expected);
    // Also where the map comes last; only the entries of the directory change places.
    const Bytes late = font({{"name", names}, {"cmap", windows_cmap()}});
    CTtfFullNameReader reader;
    ASSERT_TRUE(reader.LoadFromMemory(late.data(), size_of(late)) && reader.ParseFont());
    EXPECT_EQ(full_names(reader), expected);
    EXPECT_FALSE(reader.results().os2);
    reader.SetByteOrder(ByteOrder::File);
    Bytes exchanged = late;
    std::swap_ranges(exchanged.begin() + 12, exchanged.begin() + 28, exchanged.begin() + 28);
    EXPECT_TRUE(std::ranges::equal(reader.image(), exchanged));

    EXPECT_TRUE(full_names(font({{"cmap", windows_cmap(3)}, {"name", names}})).empty()) << "another encoding";
    EXPECT_TRUE(full_names(font({{"name", names}})).empty()) << "no map";
    // Big5 names come as UTF-16.
    const Bytes big5 =
        font({{"cmap", windows_cmap(4)}, {"name", name_table({{3, 4, 0x404, 4, Bytes{0, 0xA4, 0, 0x40}}})}});
    EXPECT_EQ(full_names(big5), std::vector<std::u16string>{u"\x4E00"});
}

TEST_F(FontNamesTest, SurvivesEachFailingAllocation) {
    const Bytes file =
        font({{"cmap", windows_cmap()},
              {"name", name_table({windows_name(4, u"beta"), windows_name(4, u"Alpha", 0x40C),
                                   windows_name(4, u"ALPHA"), mac_name(3, ascii("id")), windows_name(1, u"\xE9")})}});
    const Bytes members = collection({}, {{{"name", name_table({windows_name(1, u"Fam")})}}});
    FontNames found;
    const std::function<bool()> questions[] = {
        [&] { return ReadFontNames(file.data(), size_of(file), found) != FALSE; },
        [&] {
            CTtfFullNameReader reader;
            return reader.LoadFromMemory(file.data(), size_of(file)) && reader.ParseFont();
        },
        [&] { return find_collection_member(members.data(), size_of(members), u"Fam") == 0; }};
    for (const auto& ask : questions) {
        fail_each_call({host::CallKind::Allocation}, [&](const Failed& failed) {
            const bool done = ask();
            EXPECT_EQ(done, failed().empty());
            found = {};
        });
    }
    // Names are read quietly; only the copy of the font and the list of its tables are not.
    EXPECT_EQ(shown(), (std::vector<std::u16string>{u"Out of memory (CGlobalObj::Alloc).",
                                                    u"Out of memory (CTtf::ParseFont)."}));
}

// Any bytes may be asked. The sanitizers watch.
TEST_F(FontNamesTest, SurvivesDamagedFonts) {
    const Bytes sound =
        font({{"OS/2", os2_table({1, 0x1})},
              {"cmap", cmap({{3, 1, 0}, {1, 0, 0}}, {format4({{'A', 'B', 0, 4}}, {1, 2})})},
              {"name", name_table({windows_name(1, u"Fam"), mac_name(1, ascii("Fam")), windows_name(4, u"Full")})}});
    const Bytes members = collection({{"name", name_table({windows_name(1, u"Fam")})}}, {{}, {}});
    std::mt19937 random(2);
    for (int round = 0; round < 6000; ++round) {
        const Bytes& original = round % 2 ? sound : members;
        const Bytes file = damaged(original, random, 6, original.size());
        FontNames found;
        ReadFontNames(file.data(), size_of(file), found);
        find_collection_member(file.data(), size_of(file), u"@Full");
    }
}

}  // namespace
}  // namespace kv
