// The reader of one font: tables in place, the character map, and what damaged fonts come to.

#include "fonts/ttf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <random>

#include "fonts/full_name_reader.h"
#include "platform/host/control.h"
#include "tests/fonts/font_builder.h"
#include "tests/fonts/reader_test.h"

namespace kv {
namespace {

using namespace test;

using TtfTest = ReaderTest;

BOOL load(CTtf& font, const Bytes& bytes) {
    return font.LoadFromMemory(bytes.data(), static_cast<DWORD>(bytes.size()));
}
Bytes image_of(const CTtf& font) { return Bytes(font.image().begin(), font.image().end()); }
const CTtfTable* table_of(const CTtf& font, DWORD name) {
    for (const CTtfTable& table : font.tables()) {
        if (table.tag == name && table.location) return &table;
    }
    return nullptr;
}
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
Bytes reversed_fields(Bytes bytes, const std::vector<Field>& fields) {
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
    const std::vector<Field> os2 = {{0, 2, 16}, {42, 4, 4}, {62, 2, 8}};
    const auto longer = [&](std::vector<Field> more) {
        more.insert(more.begin(), os2.begin(), os2.end());
        return more;
    };
    struct Case {
        std::string tag;
        size_t size;
        std::vector<Field> fields;
    };
    const Case cases[] = {
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
    for (const Case& c : cases) {
        const Bytes table = counted(c.size), file = font({{c.tag, table}});
        CTtf reader;
        ASSERT_TRUE(load(reader, file) && reader.ParseFont()) << c.tag << c.size;
        const Bytes image = image_of(reader);
        EXPECT_EQ(Bytes(image.begin() + 28, image.begin() + 28 + static_cast<ptrdiff_t>(c.size)),
                  reversed_fields(table, c.fields))
            << c.tag << " of " << c.size;
        reader.SetByteOrder(ByteOrder::File);
        EXPECT_EQ(image_of(reader), file) << c.tag << " of " << c.size;
    }
}

TEST_F(TtfTest, TurnsTheDirectoryAroundButNoTag) {
    const Bytes file = font({{"xyzw", counted(4)}});
    CTtf reader;
    ASSERT_TRUE(load(reader, file));
    reader.SetByteOrder(ByteOrder::Host);
    EXPECT_EQ(image_of(reader), reversed_fields(file, {{4, 2, 4}, {16, 4, 3}}));
    ASSERT_TRUE(reader.ParseFont());
    EXPECT_TRUE(table_of(reader, tag("xyzw")));
    reader.SetByteOrder(ByteOrder::File);
    EXPECT_EQ(image_of(reader), file);
}

Bytes sample_font() {
    Big glyph_names;
    glyph_names.u32({0x00020000}).zeros(28).u16({4, 0, 259, 258, 3}).u8({1}).text("a").u8({2}).text("bc");
    const Bytes shared = format4({{0x20, 0x20, -30, 0}, {'A', 'B', 0, 6}, {'C', 'D', 0, 6}}, {5, 6, 0});
    Big other;
    other.u16({0, 262, 0});
    for (int i = 0; i < 256; ++i) other.u8({i == 0x20 ? 9 : 0});
    Big trimmed, wide;
    trimmed.u16({6, 16, 0, 0x30, 3, 1, 2, 3});
    wide.u16({12, 0}).u32({40, 0, 2, 1, 2, 3, 0x10000, 0x10001, 7});
    return font(
        {{"OS/2", os2_table({1, 0x1})},
         {"cmap", cmap({{0, 3, 0}, {1, 0, 1}, {1, 0, 2}, {3, 1, 0}, {3, 10, 3}},
                       {shared, other.bytes, trimmed.bytes, wide.bytes})},
         {"glyf", counted(16)},
         {"head", head_table(0)},
         {"hhea", hhea_table(2)},
         {"hmtx", counted(14)},
         {"loca", Big().u16({0, 2, 4, 4, 8, 8, 0x1122, 0x3344}).bytes},
         {"maxp", maxp_table(5)},
         {"name", name_table({windows_name(1, u"Fam"), mac_name(1, ascii("Fam")), windows_name(4, u"Fam Full")})},
         {"post", glyph_names.bytes}});
}

TEST_F(TtfTest, ReadsEveryTableOfASampleAndRestoresIt) {
    const Bytes file = sample_font();
    CTtf reader;
    ASSERT_TRUE(load(reader, file) && reader.ParseFont());
    const TtfResults& found = reader.results();
    EXPECT_TRUE(found.windows.present && found.windows.encoding == 1 && found.windows.kind.charset == 1);
    EXPECT_EQ(found.windows.arrays.segments, 4u);
    EXPECT_TRUE(found.has_format0 && found.format0.length == 262 && found.format0.glyphs[0x20] == 9);
    EXPECT_TRUE(found.format6.first_code == 0x30 && found.format6.entry_count == 3 && found.format6.glyphs[4] == 3);
    EXPECT_EQ(reader.CharToGlyph('A'), 5);
    EXPECT_EQ(found.blank_space_glyph, 2) << "it lies from 4 to 4";
    // 2 metrics and 5 glyphs: 4 * 2 bytes, then 3 bearings; 14 bytes in all.
    ASSERT_TRUE(found.hmtx && found.left_side_bearings);
    EXPECT_EQ(found.left_side_bearings - found.hmtx->location, 8);
    EXPECT_EQ(bytes_of(found.hmtx)[0], 2) << "host order";
    // 5 glyphs have 6 values; the other two stay until the whole font is turned around.
    EXPECT_EQ(bytes_of(found.loca), Big().u16({0, 0x200, 0x400, 0x400, 0x800, 0x800, 0x1122, 0x3344}).bytes);
    ASSERT_EQ(found.glyph_name_count, 2u);
    EXPECT_EQ(std::string(found.glyph_names[1], found.glyph_names[1] + 3), "\2bc");
    EXPECT_STREQ(reader.family().ansi.text.ansi(), "Fam");
    EXPECT_EQ(std::u16string(reader.full_name().wide.text.wide()), u"Fam Full");

    const Bytes host_order = image_of(reader);
    reader.SetByteOrder(ByteOrder::File);
    EXPECT_EQ(image_of(reader), file);
    reader.SetByteOrder(ByteOrder::File);
    EXPECT_EQ(image_of(reader), file) << "it was already";
    reader.SetByteOrder(ByteOrder::Host);
    EXPECT_EQ(bytes_of(reader.results().loca)[12], 0x22) << "the whole table now";
    reader.SetByteOrder(ByteOrder::File);
    EXPECT_EQ(image_of(reader), file);
    ASSERT_TRUE(reader.ParseFont());
    EXPECT_EQ(image_of(reader), host_order) << "converted anew";
}

TEST_F(TtfTest, SwapsSharedNameStorageOnce) {
    // Two records on the same six bytes, one overlapping both from an odd place on, one touching them, one Macintosh
    // record elsewhere, one behind the table, one with the top bit of its offset set.
    Big table;
    table.u16({0, 7, 90});
    const auto record = [&](int platform, int length, int offset) {
        table.u16({platform, platform == 3, 0x409, 1, length, offset});
    };
    record(3, 6, 0);
    record(3, 6, 0);
    record(0, 4, 3);
    record(3, 2, 7);
    record(1, 3, 9);
    record(3, 40, 4);
    record(3, 4, 0x8000);
    table.add(counted(14));
    const Bytes file = font({{"name", table.bytes}});
    CTtf reader;
    ASSERT_TRUE(load(reader, file) && reader.ParseFont());
    const Bytes image = image_of(reader);
    // One run of nine bytes: four units, the last byte is alone.
    EXPECT_EQ(Bytes(image.begin() + 28 + 90, image.begin() + 28 + 104),
              (Bytes{2, 1, 4, 3, 6, 5, 8, 7, 9, 10, 11, 12, 13, 14}));
    reader.SetByteOrder(ByteOrder::File);
    EXPECT_EQ(image_of(reader), file);
}

TEST_F(TtfTest, ConvertsSharedSubtablesAndGlyphIdsOnce) {
    // Both records mean one subtable; its two segments mean the same glyph ids, and a third reaches into them.
    const Bytes map = format4({{'A', 'C', 0, 8}, {'a', 'c', 0, 6}, {'x', 'y', 0, 6}}, {0x101, 0x102, 0x103, 0x104});
    const Bytes file = font({{"cmap", cmap({{0, 3, 0}, {3, 1, 0}}, {map})}});
    CTtf reader;
    ASSERT_TRUE(load(reader, file) && reader.ParseFont());
    EXPECT_EQ(reader.CharToGlyph('C'), 0x103);
    EXPECT_EQ(reader.CharToGlyph('a'), 0x101);
    EXPECT_EQ(reader.CharToGlyph('y'), 0x103);
    const Bytes image = image_of(reader);
    EXPECT_EQ(Bytes(image.end() - 8, image.end()), (Bytes{1, 1, 2, 1, 3, 1, 1, 4})) << "no segment has the last one";
    EXPECT_EQ(image[28 + 20 + 14 + 8], 0x12) << "the reserved word";
    reader.SetByteOrder(ByteOrder::File);
    EXPECT_EQ(image_of(reader), file);
}

TEST_F(TtfTest, TurnsTheHeadersOfOtherSubtablesAround) {
    struct Case {
        int format;
        size_t size;
        std::vector<Field> fields;
    };
    const Case cases[] = {
        {0, 262, {{0, 2, 3}}},         {2, 30, {{0, 2, 3}}},
        {8, 20, {{0, 2}, {4, 4, 2}}},  {10, 20, {{0, 2}, {4, 4, 2}}},
        {13, 30, {{0, 2}, {4, 4, 2}}}, {14, 20, {{0, 2}, {2, 4}}},
        {4, 12, {{0, 2, 3}}},          {6, 8, {{0, 2, 3}}},
        {6, 14, {{0, 2, 7}}},  // its count is far beyond its end
        {12, 40, {{0, 2}, {4, 4, 9}}},
    };
    for (const Case& c : cases) {
        Bytes subtable = counted(c.size);
        subtable[0] = 0;
        subtable[1] = static_cast<BYTE>(c.format);
        const Bytes file = font({{"cmap", cmap({{3, 10, 0}}, {subtable})}});
        CTtf reader;
        ASSERT_TRUE(load(reader, file) && reader.ParseFont()) << c.format;
        const Bytes image = image_of(reader);
        const auto start = image.begin() + 28 + 12;
        EXPECT_EQ(Bytes(start, start + static_cast<ptrdiff_t>(c.size)), reversed_fields(subtable, c.fields))
            << c.format;
        reader.SetByteOrder(ByteOrder::File);
        EXPECT_EQ(image_of(reader), file) << c.format;
    }
}

WORD glyph_of(const Bytes& cmap_bytes, DWORD code) {
    CTtf reader;
    EXPECT_TRUE(load(reader, font({{"cmap", cmap_bytes}})) && reader.ParseFont());
    return reader.CharToGlyph(code);
}

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
    const Bytes table = cmap({{1, 0, 0}}, {map.bytes});
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
        CTtf reader;
        EXPECT_TRUE(load(reader, font(tables, signature)) && reader.ParseFont());
        return reader.results().blank_space_glyph;
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
    const auto names = [](const Bytes& tail, int version = 0x20000, int glyphs = 1) {
        Big post;
        post.u32({version}).zeros(28).u16({glyphs}).add(tail);
        CTtf reader;
        EXPECT_TRUE(load(reader, font({{"post", post.bytes}})) && reader.ParseFont());
        return reader.results().glyph_name_count;
    };
    EXPECT_EQ(names(Big().u16({258}).u8({1, 'a'}).bytes), 1u);
    EXPECT_EQ(names(Big().u16({258}).u8({0}).bytes), 1u);
    EXPECT_EQ(names(Big().u16({258}).u8({2, 'a'}).bytes), 0u) << "beyond the end";
    EXPECT_EQ(names(Big().u16({259}).u8({1, 'a'}).bytes), 0u) << "one string is missing";
    EXPECT_EQ(names(Big().u16({257}).u8({1, 'a'}).bytes), 0u);
    EXPECT_EQ(names(Big().u16({258}).u8({1, 'a'}).bytes, 0x30000), 0u);
    EXPECT_EQ(names(Big().u16({258}).bytes, 0x20000, 2), 0u) << "the indices are cut off";
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
    Bytes file = directory(
        {{"cmap", 0x7FFFFFFF, 20}, {"hmtx", 40, 0xFFFFFFFF}, {"name", 60, static_cast<int64_t>(names.size())}});
    file.insert(file.end(), names.begin(), names.end());
    CTtf reader;
    ASSERT_TRUE(load(reader, file) && reader.ParseFont());
    EXPECT_EQ(std::u16string(reader.family().wide.text.wide()), u"Fam");
    EXPECT_FALSE(reader.results().cmap || reader.results().hmtx);
    file.pop_back();
    ASSERT_TRUE(load(reader, file) && reader.ParseFont());
    EXPECT_FALSE(reader.results().name) << "its last byte is missing";
}

TEST_F(TtfTest, LetsOneTableHaveAByte) {
    const Bytes names = name_table({windows_name(1, u"Fam"), windows_name(4, u"Fam Full")});
    const auto size = static_cast<int64_t>(names.size());
    // Twice the same table, one across it, one over the directory.
    Bytes file = directory({{"cmap", 80, 20}, {"hhea", 0, 36}, {"name", 76, size}, {"name", 76, size}});
    file.insert(file.end(), names.begin(), names.end());
    CTtf reader;
    ASSERT_TRUE(load(reader, file) && reader.ParseFont());
    EXPECT_TRUE(reader.results().cmap && !reader.results().name && !reader.results().hhea);
    reader.SetByteOrder(ByteOrder::File);
    EXPECT_EQ(image_of(reader), file);
}

TEST_F(TtfTest, RestoresDamagedFontsAndLeavesNothing) {
    const Bytes sound = sample_font();
    std::mt19937 random(1);
    for (int round = 0; round < 6000; ++round) {
        Bytes file = sound;
        for (auto changes = random() % 8 + 1; changes > 0; --changes) {
            // Mostly the directory and small values: they decide what is read.
            const size_t at = random() % (random() % 2 ? file.size() : 240);
            file[at] = static_cast<BYTE>(random() % 2 ? random() : random() % 8);
        }
        if (random() % 4 == 0) file.resize(random() % file.size() + 1);
        CTtf reader;
        ASSERT_TRUE(load(reader, file));
        reader.ParseFont();
        for (ByteOrder order : {ByteOrder::File, ByteOrder::Host, ByteOrder::File}) reader.SetByteOrder(order);
        ASSERT_EQ(image_of(reader), file) << "round " << round;
    }
}

// Each would take hours if its cost grew with the square of its size.
TEST_F(TtfTest, FinishesOnFontsMadeToTakeForever) {
    std::vector<Entry> entries(0xFFFF, Entry{"name", 0, 0});
    const auto start = static_cast<int64_t>(kDirectoryHeader + kDirectoryEntry * entries.size());
    const Bytes names = name_table({windows_name(1, u"Fam")});
    for (size_t i = 0; i < entries.size(); ++i) {
        const char* const tags[] = {"name", "cmap", "loca", "post"};
        entries[i] = {tags[i % 4], start + static_cast<int64_t>(i), 0x20000};
    }
    CTtf reader;
    Big many_tables;
    many_tables.add(directory(entries)).zeros(0x40000);
    ASSERT_TRUE(load(reader, many_tables.bytes));
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
    const Bytes file = font({{"cmap", cmap({{3, 1, 0}}, {large_map.bytes})}, {"name", many_names.bytes}});
    CTtfFullNameReader full;
    ASSERT_TRUE(load(full, file));
    EXPECT_TRUE(full.ParseFont());
    full.SetByteOrder(ByteOrder::File);
    EXPECT_EQ(image_of(full), file);
}

TEST_F(TtfTest, KeepsThePathOnlyWhenAsked) {
    const Bytes file = sample_font();
    const WCHAR* path = TEXT("C:\\Windows\\Temp\\a.ttf");
    std::ofstream(host::host_path(path), std::ios::binary)
        .write(reinterpret_cast<const char*>(file.data()), static_cast<std::streamsize>(file.size()));
    CTtf reader;
    EXPECT_FALSE(reader.LoadFromFile(TEXT("")) || reader.LoadFromFile(TEXT("C:\\Windows\\Temp\\none.ttf")));
    ASSERT_TRUE(reader.LoadFromFile(path));
    EXPECT_EQ(image_of(reader), file);
    ASSERT_TRUE(reader.ParseFont());
    Bytes other = font({{"name", name_table({})}});
    ASSERT_TRUE(reader.SetFontData(other.data(), static_cast<DWORD>(other.size()), TRUE));
    EXPECT_EQ(std::u16string(reader.path()), path);
    EXPECT_TRUE(reader.tables().empty() && reader.family().wide.text.empty()) << "all else is reset";
    ASSERT_TRUE(reader.SetFontData(other.data(), static_cast<DWORD>(other.size()), FALSE));
    EXPECT_EQ(std::u16string(reader.path()), u"");
    EXPECT_TRUE(host::messages().empty());
    DeleteFileW(path);
}

TEST_F(TtfTest, ReportsMemoryThatIsOut) {
    const Bytes file = sample_font();
    bool contexts[2] = {};
    for (uint64_t n = 1, failed = 1; failed; ++n) {
        CTtf reader;
        ASSERT_TRUE(load(reader, file));
        const size_t messages = host::messages().size();
        host::clear_failures();
        host::fail_call(host::CallKind::Allocation, n);
        const BOOL parsed = reader.ParseFont();
        failed = host::calls_made(host::CallKind::Allocation) >= n;
        host::clear_failures();
        EXPECT_EQ(parsed, !failed) << "allocation " << n;
        for (size_t i = messages; i < host::messages().size(); ++i) {
            contexts[0] |= host::messages()[i].text == u"Out of memory (CTtf::ParseFont).";
            contexts[1] |= host::messages()[i].text == u"Out of memory (CTtf::ParsePost).";
        }
        reader.SetByteOrder(ByteOrder::File);
        EXPECT_EQ(image_of(reader), file) << "allocation " << n;
        EXPECT_TRUE(reader.ParseFont()) << "with memory again";
    }
    EXPECT_TRUE(contexts[0] && contexts[1]);
}

}  // namespace
}  // namespace kv
