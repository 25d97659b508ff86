// The reader of one font: tables in place, the character map, and what damaged fonts come to.

#include "fonts/ttf.h"

#include <algorithm>
#include <random>

#include "fonts/full_name_reader.h"
#include "tests/common/workspace.h"
#include "tests/fonts/reader_test.h"

namespace kv {
namespace {

using namespace test;

using TtfTest = HostTest;
constexpr size_t kOnlyTable = kDirectoryHeader + kDirectoryEntry;  // where the table of a font of one lies

BOOL load(CTtf& font, const Bytes& bytes) { return font.LoadFromMemory(bytes.data(), size_of(bytes)); }
Bytes bytes_of(const CTtfTable* table) { return table ? Bytes(table->bytes().begin(), table->bytes().end()) : Bytes(); }

// Numbers 1, 2, 3 ... so that each byte tells where it comes from.
Bytes counted(size_t size) {
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<BYTE>(i + 1);
    return bytes;
}
struct Field {
    size_t offset, width, count = 1;
};
using Fields = std::vector<Field>;
Bytes reversed_fields(Bytes bytes, const Fields& fields) {
    for (const Field& field : fields) {
        for (size_t i = 0; i < field.count; ++i) {
            const auto at = bytes.begin() + static_cast<ptrdiff_t>(field.offset + i * field.width);
            std::reverse(at, at + static_cast<ptrdiff_t>(field.width));
        }
    }
    return bytes;
}

// Offsets and widths as the OpenType format gives them; what no field covers stays.
TEST_F(TtfTest, TurnsEachFieldOfTheFixedTablesAround) {
    const Fields os2 = {{0, 2, 16}, {42, 4, 4}, {62, 2, 8}};
    const auto longer = [&](Fields more) {
        more.insert(more.begin(), os2.begin(), os2.end());
        return more;
    };
    const std::tuple<std::string, size_t, Fields> cases[] = {
        {"head", 54, {{0, 4, 4}, {16, 2, 2}, {20, 4, 4}, {36, 2, 9}}},
        {"head", 53, {}},
        {"hhea", 36, {{0, 4}, {4, 2, 16}}},
        {"hhea", 35, {}},
        {"maxp", 6, {{0, 4}, {4, 2}}},
        {"maxp", 5, {}},
        {"maxp", 31, {{0, 4}, {4, 2}}},
        {"maxp", 32, {{0, 4}, {4, 2, 14}}},
        {"OS/2", 77, {}},
        {"OS/2", 78, os2},
        {"OS/2", 82, longer({{78, 4}})},
        {"OS/2", 85, longer({{78, 4}})},
        {"OS/2", 86, longer({{78, 4}, {82, 4}})},
        {"OS/2", 90, longer({{78, 4}, {82, 4}, {86, 2, 2}})},
        {"OS/2", 96, longer({{78, 4}, {82, 4}, {86, 2, 5}})},
        {"OS/2", 100, longer({{78, 4}, {82, 4}, {86, 2, 5}})},
        {"post", 32, {{0, 4, 2}, {8, 2, 2}, {12, 4, 5}}},
        {"post", 31, {}},
    };
    for (const auto& [tag, size, fields] : cases) {
        SCOPED_TRACE(tag + std::to_string(size));
        const Bytes table = counted(size);
        const Parsed font(test::font({{tag, table}}));
        EXPECT_EQ(font.image(kOnlyTable, size), reversed_fields(table, fields));
    }
}

TEST_F(TtfTest, TurnsTheHeadersOfOtherSubtablesAround) {
    const std::tuple<int, size_t, Fields> cases[] = {
        {0, 262, {{0, 2, 3}}},         {2, 30, {{0, 2, 3}}},
        {8, 20, {{0, 2}, {4, 4, 2}}},  {10, 20, {{0, 2}, {4, 4, 2}}},
        {13, 30, {{0, 2}, {4, 4, 2}}}, {14, 20, {{0, 2}, {2, 4}}},
        {4, 12, {{0, 2, 3}}},          {6, 8, {{0, 2, 3}}},
        {6, 14, {{0, 2, 7}}},  // its count is far beyond its end
        {12, 40, {{0, 2}, {4, 4, 9}}},
    };
    for (const auto& [format, size, fields] : cases) {
        SCOPED_TRACE(format);
        Bytes subtable = counted(size);
        subtable[0] = 0;
        subtable[1] = static_cast<BYTE>(format);
        const Parsed font(test::font({{"cmap", cmap({{3, 10, 0}}, {subtable})}}));
        EXPECT_EQ(font.image(kOnlyTable + 12, size), reversed_fields(subtable, fields));
    }
}

TEST_F(TtfTest, TurnsTheDirectoryAroundButNoTag) {
    const Bytes file = font({{"xyzw", counted(4)}});
    CTtf reader;
    ASSERT_TRUE(load(reader, file));
    reader.SetByteOrder(ByteOrder::Host);
    EXPECT_EQ(Bytes(reader.image().begin(), reader.image().end()), reversed_fields(file, {{4, 2, 4}, {16, 4, 3}}));
    ASSERT_TRUE(reader.ParseFont());
    ASSERT_EQ(reader.tables().size(), 1u);
    EXPECT_TRUE(reader.tables()[0].tag == tag("xyzw") && reader.tables()[0].location);
}

Bytes sample_font() {
    const Bytes shared = format4({{0x20, 0x20, -30, 0}, {'A', 'B', 0, 6}, {'C', 'D', 0, 6}}, {5, 6, 0});
    const Bytes other = Big().u16({0, 262, 0}).zeros(0x20).u8({9}).zeros(223);
    const Bytes trimmed = Big().u16({6, 16, 0, 0x30, 3, 1, 2, 3});
    const Bytes wide = Big().u16({12, 0}).u32({40, 0, 2, 1, 2, 3, 0x10000, 0x10001, 7});
    return font(
        {{"OS/2", os2_table({1, 0x1})},
         {"cmap", cmap({{0, 3, 0}, {1, 0, 1}, {1, 0, 2}, {3, 1, 0}, {3, 10, 3}}, {shared, other, trimmed, wide})},
         {"glyf", counted(16)},
         {"head", head_table(0)},
         {"hhea", hhea_table(2)},
         {"hmtx", counted(14)},
         {"loca", Big().u16({0, 2, 4, 4, 8, 8, 0x1122, 0x3344})},
         {"maxp", maxp_table(5)},
         {"name", name_table({windows_name(1, u"Fam"), mac_name(1, ascii("Fam")), windows_name(4, u"Fam Full")})},
         {"post", Big().u32({0x00020000}).zeros(28).u16({4, 0, 259, 258, 3}).text("\1a\2bc")}});
}

TEST_F(TtfTest, ReadsEveryTableOfASampleAndRestoresIt) {
    Parsed font(sample_font());
    const TtfResults& found = font.found();
    EXPECT_TRUE(found.windows.present && found.windows.encoding == 1 && found.windows.kind.charset == 1);
    EXPECT_EQ(found.windows.arrays.segments, 4u);
    EXPECT_TRUE(found.has_format0 && found.format0.length == 262 && found.format0.glyphs[0x20] == 9);
    EXPECT_TRUE(found.format6.first_code == 0x30 && found.format6.entry_count == 3 && found.format6.glyphs[4] == 3);
    EXPECT_EQ(font->CharToGlyph('A'), 5);
    EXPECT_EQ(found.blank_space_glyph, 2) << "it lies from 4 to 4";
    // 2 metrics and 5 glyphs: 4 * 2 bytes, then 3 bearings; 14 bytes in all.
    ASSERT_TRUE(found.hmtx && found.left_side_bearings);
    EXPECT_EQ(found.left_side_bearings - found.hmtx->location, 8);
    EXPECT_EQ(bytes_of(found.hmtx)[0], 2) << "host order";
    // 5 glyphs have 6 values; the other two stay until the whole font is turned around.
    EXPECT_EQ(bytes_of(found.loca), Big().u16({0, 0x200, 0x400, 0x400, 0x800, 0x800, 0x1122, 0x3344}).bytes);
    ASSERT_EQ(found.glyph_name_count, 2u);
    EXPECT_EQ(std::string(found.glyph_names[1], found.glyph_names[1] + 3), "\2bc");
    EXPECT_EQ(narrow(font->family().ansi.text), "Fam");
    EXPECT_EQ(wide(font->full_name().wide.text), u"Fam Full");

    const Bytes host_order = font.image();
    font.expect_restored();
    font.expect_restored();  // it was already
    font->SetByteOrder(ByteOrder::Host);
    EXPECT_EQ(bytes_of(font.found().loca)[12], 0x22) << "the whole table now";
    font.expect_restored();
    ASSERT_TRUE(font->ParseFont());
    EXPECT_EQ(font.image(), host_order) << "converted anew";
}

TEST_F(TtfTest, SwapsSharedNameStorageOnce) {
    Big table;
    table.u16({0, 7, 90});
    const int records[][3] = {{3, 6, 0},  {3, 6, 0},  // platform, length, offset: two on the same bytes,
                              {0, 4, 3},  {3, 2, 7},  // one overlapping both from an odd place on, one touching them,
                              {1, 3, 9},              // a Macintosh one elsewhere,
                              {3, 40, 4}, {3, 4, 0x8000}};  // one behind the table, one with the offset's top bit
    for (const auto& [platform, length, offset] : records) {
        table.u16({platform, platform == 3, 0x409, 1, length, offset});
    }
    const Parsed font(test::font({{"name", table.add(counted(14))}}));
    // One run of nine bytes: four units, the last byte is alone.
    EXPECT_EQ(to_hex(font.image(kOnlyTable + 90, 14)), "02 01 04 03 06 05 08 07 09 0A 0B 0C 0D 0E ");
}

TEST_F(TtfTest, ConvertsSharedSubtablesAndGlyphIdsOnce) {
    // Both records mean one subtable; its two segments mean the same glyph ids, and a third reaches into them.
    const Bytes map = format4({{'A', 'C', 0, 8}, {'a', 'c', 0, 6}, {'x', 'y', 0, 6}}, {0x101, 0x102, 0x103, 0x104});
    Parsed font(test::font({{"cmap", cmap({{0, 3, 0}, {3, 1, 0}}, {map})}}));
    EXPECT_EQ(font->CharToGlyph('C'), 0x103);
    EXPECT_EQ(font->CharToGlyph('a'), 0x101);
    EXPECT_EQ(font->CharToGlyph('y'), 0x103);
    const Bytes image = font.image();
    EXPECT_EQ(to_hex(Bytes(image.end() - 8, image.end())), "01 01 02 01 03 01 01 04 ") << "no segment has the last one";
    EXPECT_EQ(image[kOnlyTable + 20 + 14 + 8], 0x12) << "the reserved word";
}

WORD glyph_of(const Bytes& cmap_bytes, DWORD code) { return Parsed(font({{"cmap", cmap_bytes}}))->CharToGlyph(code); }

TEST_F(TtfTest, FindsGlyphsInTheWindowsMap) {
    // Five segments with the last one: from the second one's offset 8 bytes lead to the first glyph id, 6 to the last
    // offset, 60 beyond the end.
    const Bytes map =
        format4({{0x30, 0x39, -0x2F, 0}, {0x41, 0x43, 5, 8}, {0xAD, 0xAD, 0, 0}, {0x100, 0x101, 9, 60}}, {10, 0, 12});
    const std::pair<DWORD, int> glyphs[] = {{0x2F, 0},  {0x30, 1},    {0x39, 10},  {0x3A, 0},   {0, 0},
                                            {0x41, 15}, {0x42, 0},    {0x43, 17},  {0x44, 0},   {0xAD, 0xAD},
                                            {0x100, 0}, {0x2D, 0xAD}, {0xFFFF, 0}, {0x10030, 0}};
    for (const auto& [code, glyph] : glyphs) EXPECT_EQ(glyph_of(cmap({{3, 1, 0}}, {map}), code), glyph) << code;
    const Bytes low = format4({{0x41, 0x43, 5, 2}}, {10});
    EXPECT_EQ(glyph_of(cmap({{3, 1, 0}}, {low}), 0x41), 0) << "an offset is no glyph id";
    EXPECT_EQ(glyph_of(cmap({{3, 1, 0}}, {low}), 0x42), 15);
    EXPECT_EQ(glyph_of(cmap({{3, 1, 0}}, {low}), 0x43), 0) << "behind the table";

    // A hyphen pair is one thing, except in a symbol font.
    const Bytes soft = format4({{0xAD, 0xAD, 0, 0}}), hard = format4({{0x2D, 0x2D, 0, 0}});
    EXPECT_EQ(glyph_of(cmap({{3, 1, 0}}, {soft}), 0x2D), 0xAD);
    EXPECT_EQ(glyph_of(cmap({{3, 1, 0}}, {hard}), 0xAD), 0x2D);
    EXPECT_EQ(glyph_of(cmap({{3, 0, 0}}, {soft}), 0x2D), 0);
    // The first map of platform 3 counts, whatever its encoding.
    EXPECT_EQ(glyph_of(cmap({{0, 3, 0}, {3, 3, 1}, {3, 1, 0}}, {soft, hard}), 0x2D), 0x2D);
}

TEST_F(TtfTest, FindsGlyphsInAByteMapThroughTheSystemCodePage) {
    Big map;
    map.u16({0, 262, 0});
    for (int i = 0; i < 256; ++i) map.u8({255 - i});
    const Bytes table = cmap({{1, 0, 0}}, {map});
    const std::pair<DWORD, int> glyphs[] = {{0x41, 0xBE}, {0x7F, 0x80}, {0x20AC, 0x7F}, {0xE9, 0x16},
                                            {0x416, 0},   {0x10041, 0}, {0, 0}};
    for (const auto& [code, glyph] : glyphs) EXPECT_EQ(glyph_of(table, code), glyph) << std::hex << code;
    host::machine().ansi_code_page = 1251;
    EXPECT_EQ(glyph_of(table, 0x416), 255 - 0xC6);
    host::machine().ansi_code_page = 932;
    EXPECT_EQ(glyph_of(table, 0x3042), 0) << "two bytes";
    EXPECT_EQ(glyph_of(table, 0xFF71), 255 - 0xB1) << "one byte";
}

TEST_F(TtfTest, KnowsABlankSpaceGlyph) {
    const Bytes map = cmap({{3, 1, 0}}, {format4({{0x20, 0x20, -0x1F, 0}})});  // glyph 1
    const auto blank = [&](int format, const Bytes& loca, int64_t signature = 0x00010000, bool glyf = true) {
        Tables tables = {{"cmap", map}, {"head", head_table(format)}, {"loca", loca}, {"maxp", maxp_table(2)}};
        if (glyf) tables.push_back({"glyf", counted(8)});
        return Parsed(font(tables, signature)).found().blank_space_glyph;
    };
    EXPECT_EQ(blank(0, Big().u16({0, 4, 4}).bytes), 1);
    EXPECT_EQ(blank(0, Big().u16({0, 4, 8}).bytes), 0);
    EXPECT_EQ(blank(1, Big().u32({0, 8, 8}).bytes), 1);
    EXPECT_EQ(blank(1, Big().u32({0, 8, 9}).bytes), 0);
    EXPECT_EQ(blank(0, Big().u16({0, 4}).bytes), 1) << "'loca' ends before it";
    EXPECT_EQ(blank(0, Big().u16({0, 4, 8}).bytes, 0x4F54544F), 1) << "OTTO";
    EXPECT_EQ(blank(0, Big().u16({0, 4, 8}).bytes, 0x00010000, false), 1);
}

TEST_F(TtfTest, ReadsGlyphNamesOnlyWhole) {
    const std::tuple<int, const char*, DWORD> cases[] = {
        // Version and what stands behind the number of glyphs.
        {0x20000, "0001 0102 01 61", 1}, {0x20000, "0001 0102 00", 1},
        {0x20000, "0001 0102 02 61", 0},  // beyond the end
        {0x20000, "0001 0103 01 61", 0},  // one string is missing
        {0x20000, "0001 0101 01 61", 0}, {0x30000, "0001 0102 01 61", 0},
        {0x20000, "0002 0102", 0},  // the indices are cut off
    };
    for (const auto& [version, tail, names] : cases) {
        const Parsed font(test::font({{"post", Big().u32({version}).zeros(28).hex(tail)}}));
        EXPECT_EQ(font.found().glyph_name_count, names) << tail;
    }
}

TEST_F(TtfTest, RefusesWhatIsNoFont) {
    CTtf reader;
    EXPECT_FALSE(reader.ParseFont());
    EXPECT_FALSE(reader.LoadFromMemory(nullptr, 5) || reader.LoadFromMemory("x", 0));
    EXPECT_FALSE(reader.SetFontData(nullptr, 5, FALSE));
    EXPECT_TRUE(load(reader, ascii("ttcf00000000")));
    EXPECT_FALSE(reader.ParseFont()) << "a collection";
    EXPECT_TRUE(load(reader, font({})));
    EXPECT_TRUE(reader.ParseFont()) << "no table";
    EXPECT_TRUE(load(reader, font({{"hmtx", counted(4)}, {"maxp", maxp_table(1)}})));
    EXPECT_FALSE(reader.ParseFont()) << "'hmtx' without 'hhea'";
    EXPECT_TRUE(host::messages().empty());
}

TEST_F(TtfTest, TreatsTablesOutsideOfTheImageAsAbsent) {
    const Bytes names = name_table({windows_name(1, u"Fam")});
    Bytes file = directory({{"cmap", 0x7FFFFFFF, 20}, {"hmtx", 40, 0xFFFFFFFF}, {"name", 60, size_of(names)}});
    file.insert(file.end(), names.begin(), names.end());
    const Parsed font(file);
    EXPECT_EQ(wide(font.reader.family().wide.text), u"Fam");
    EXPECT_FALSE(font.found().cmap || font.found().hmtx);
    file.pop_back();
    EXPECT_FALSE(Parsed(file).found().name) << "its last byte is missing";
}

TEST_F(TtfTest, LetsOneTableHaveAByte) {
    const Bytes names = name_table({windows_name(1, u"Fam"), windows_name(4, u"Fam Full")});
    const DWORD size = size_of(names);
    // Twice the same table, one across it, one over the directory.
    Bytes file = directory({{"cmap", 80, 20}, {"hhea", 0, 36}, {"name", 76, size}, {"name", 76, size}});
    file.insert(file.end(), names.begin(), names.end());
    const Parsed font(file);
    EXPECT_TRUE(font.found().cmap && !font.found().name && !font.found().hhea);

    // The names of glyphs stay what they were read as: a table across them, in its own bytes, is none.
    const Bytes glyph_names = Big().u32({0x00020000}).zeros(28).u16({1, 258}).text("\5abcde");
    const auto start = static_cast<int64_t>(kDirectoryHeader + 2 * kDirectoryEntry);
    for (const DWORD behind : {37u, 42u}) {
        Bytes shared = directory({{"post", start, size_of(glyph_names)}, {"name", start + behind, size}});
        shared.insert(shared.end(), glyph_names.begin(), glyph_names.end());
        shared.resize(static_cast<size_t>(start + behind));
        shared.insert(shared.end(), names.begin(), names.end());
        const Parsed whole(shared);
        EXPECT_EQ(whole.found().name != nullptr, behind == 42) << behind;
    }
}

TEST_F(TtfTest, RestoresDamagedFontsAndLeavesNothing) {
    const Bytes sound = sample_font();
    std::mt19937 random(1);
    for (int round = 0; round < 6000 && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        const Bytes file = damaged(sound, random, 8, 240);
        CTtf reader;
        ASSERT_TRUE(load(reader, file));
        reader.ParseFont();
        for (ByteOrder order : {ByteOrder::File, ByteOrder::Host, ByteOrder::File}) reader.SetByteOrder(order);
        ASSERT_TRUE(std::ranges::equal(reader.image(), file));
    }
}

// Each would take hours if its cost grew with the square of its size.
TEST_F(TtfTest, FinishesOnFontsMadeToTakeForever) {
    std::vector<Entry> entries(0xFFFF, Entry{"name", 0, 0});
    const auto start = static_cast<int64_t>(kDirectoryHeader + kDirectoryEntry * entries.size());
    for (size_t i = 0; i < entries.size(); ++i) {
        const char* const tags[] = {"name", "cmap", "loca", "post"};
        entries[i] = {tags[i % 4], start + static_cast<int64_t>(i), 0x20000};
    }
    CTtf reader;
    Big many_tables;
    many_tables.add(directory(entries)).zeros(0x40000);
    ASSERT_TRUE(load(reader, many_tables));
    EXPECT_TRUE(reader.ParseFont());

    Big many_names;
    many_names.u16({0, 0xFFFF, 0xFFFF});  // the storage starts within the records, the texts behind them
    for (int i = 0; i < 0xFFFF; ++i)
        many_names.u16({3, 1, i % 2 ? 0x409 : 0x40C, i % 4 < 2 ? 4 : 1, 0xFFFE - i, i % 0x8000});
    many_names.zeros(0x10000);
    Big large_map;
    large_map.u16({4, 0, 0, 0xFFFE, 0, 0, 0});
    for (int i = 0; i < 4 * 0x7FFF; ++i) large_map.u16({i < 0x7FFF ? 0xFFFE : i % 2});
    large_map.zeros(0x20000);
    Parsed<CTtfFullNameReader>(font({{"cmap", cmap({{3, 1, 0}}, {large_map})}, {"name", many_names}}));
}

TEST_F(TtfTest, KeepsThePathOnlyWhenAsked) {
    const Bytes file = sample_font();
    const WCHAR* path = TEXT("C:\\Windows\\Temp\\a.ttf");
    write_file(host::host_path(path), file);
    CTtf reader;
    EXPECT_FALSE(reader.LoadFromFile(TEXT("")) || reader.LoadFromFile(TEXT("C:\\Windows\\Temp\\none.ttf")));
    ASSERT_TRUE(reader.LoadFromFile(path));
    EXPECT_TRUE(std::ranges::equal(reader.image(), file));
    ASSERT_TRUE(reader.ParseFont());
    Bytes other = font({{"name", name_table({})}});
    ASSERT_TRUE(reader.SetFontData(other.data(), size_of(other), TRUE));
    EXPECT_EQ(std::u16string(reader.path()), path);
    EXPECT_TRUE(reader.tables().empty() && reader.family().wide.text.empty()) << "all else is reset";
    ASSERT_TRUE(reader.SetFontData(other.data(), size_of(other), FALSE));
    EXPECT_EQ(std::u16string(reader.path()), u"");
    EXPECT_TRUE(host::messages().empty());
    DeleteFileW(path);
}

TEST_F(TtfTest, ReportsMemoryThatIsOut) {
    const Bytes file = sample_font();
    fail_each_call({host::CallKind::Allocation}, [&](const Failed& failed) {
        CTtf reader;
        if (!load(reader, file)) return;
        const BOOL parsed = reader.ParseFont();
        EXPECT_EQ(parsed, failed().empty());
        reader.SetByteOrder(ByteOrder::File);
        EXPECT_TRUE(std::ranges::equal(reader.image(), file));
        EXPECT_TRUE(reader.ParseFont()) << "with memory again";
    });
    const auto texts = shown();
    for (const char16_t* text : {u"Out of memory (CTtf::ParseFont).", u"Out of memory (CTtf::ParsePost)."}) {
        EXPECT_TRUE(std::ranges::count(texts, text));
    }
}

}  // namespace
}  // namespace kv
