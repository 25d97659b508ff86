// Text records and text states.

#include "tests/common/text_test.h"

#include "engine/path.h"

namespace kv::test {
namespace {

using engine::Font;
using engine::Placement;
using engine::String;

// Glyphs side by side on a line, advance pixels apart.
Placement line(POINTL start, int count, int advance) {
    Placement placement;
    for (int i = 0; i < count; ++i) placement.origins.push_back({start.x + i * advance, start.y});
    placement.end = {start.x + count * advance, start.y};
    return placement;
}

std::u16string repeated(size_t count) { return std::u16string(count, u'A'); }

int u16_at(const Bytes& bytes, size_t at) { return bytes.at(at) | bytes.at(at + 1) << 8; }

struct TextRecordTest : TextTest {
    Font* turned(double degrees) {
        fonts.push_back(std::make_unique<Font>(sans, 0, 100, degrees));
        return fonts.back().get();
    }
    void TearDown() override {
        fonts.clear();  // while the driver is there
        TextTest::TearDown();
    }

    std::vector<std::unique_ptr<Font>> fonts;
    // Of 100 pixels: A is 60 wide, B 50, C 40, the space 25.
    Font& font = *turned(0);
};

TEST_F(TextRecordTest, AStringWithItsFontAndState) {
    String text(font, u"AB", {100, 200});
    text.set_code_page(1252);
    const auto records = records_of(text, font);
    BytesBuilder definition, state, run;
    // The identifier is the position of the record.
    definition.u32({0x20000012, -100, 0, 0, 0, 400}).u8({0, 0, 0, 1, 7, 0x20, 2, 2});
    definition.u16({'T', 'e', 's', 't', ' ', 'S', 'a', 'n', 's', 0});
    for (int i = 10; i < 32; ++i) definition.u16({0xFFFF});
    state.u8({0xD8}).u32({0x20000012, 0, 1252}).u8({1});
    run.u8({0x40, 2}).u16({'A', 'B', 0, 100, 200, 60, 50});
    EXPECT_EQ(listing(records), listing({{9, definition.bytes}, {19, state.bytes}, {30, run.bytes}}));
}

TEST_F(TextRecordTest, GlyphIndices) {
    String text(font, std::vector<USHORT>{2, 3}, line({10, 20}, 2, 60));
    text.rclBkGround.right = 125;
    BytesBuilder run;
    run.u8({0x20, 2}).u16({2, 3, 10, 20, 60, 55});
    records_of(text, font);
    start_page();
    draw(text, font);
    EXPECT_EQ(listing(finish_text()), listing({{30, run.bytes}}));
}

TEST_F(TextRecordTest, StatesSayOnlyWhatChanged) {
    start_page();
    engine::Brush red = engine::Brush::solid(0xFF0000), white = engine::Brush::solid(0xFFFFFF);
    const RECTL box = {0, 0, 500, 500};
    String text(font, u"A", {10, 100});
    auto print = [&](engine::Brush& brush, const RECTL* opaque, DWORD code_page) {
        text.set_code_page(code_page);
        EXPECT_TRUE(device->text_out(text, font, nullptr, brush, opaque, opaque ? &white : nullptr));
    };
    print(red, nullptr, 0);
    print(red, nullptr, 0);
    print(red, nullptr, 932);
    print(black, &box, 932);
    print(black, nullptr, 932);
    ASSERT_TRUE(device->send_page());
    ASSERT_TRUE(device->start_page());
    print(black, nullptr, 0);  // the page starts without a state
    ASSERT_TRUE(device->send_page());
    ASSERT_TRUE(device->end_document());
    std::string states;
    const Bytes all = job();
    for (const Record& record : split_records(Bytes(all.begin() + 16, all.end()))) {
        if (record.type == 19) states += to_hex(record.body) + "\n";
    }
    EXPECT_EQ(states,
              "C8 12 00 00 20 FF 00 00 00 01 \n"  // red comes as 0x0000FF
              "10 A4 03 00 00 \n"                 // the code page
              "68 00 00 00 00 FF FF FF 00 02 \n"  // both colours and the background mode
              "08 01 \n"                          // the mode alone
              "C8 12 00 00 20 00 00 00 00 01 \n");
}

TEST_F(TextRecordTest, ColoursNearBlackAndWhiteBecomeThose) {
    struct {
        ULONG text, ground;                 // the engine's: red high
        const char *text_hex, *ground_hex;  // the job's: red low
    } cases[] = {
        {0x050505, 0xFFFFFF, "00 00 00 00", "FF FF FF 00"},     {0x090909, 0x000000, "00 00 00 00", "FF FF FF 00"},
        {0x0A0909, 0x000000, "0A 09 09 00", "00 00 00 00"},     {0x000000, 0x000001, "00 00 00 00", "00 00 01 00"},
        {0xF6F7F8, 0x123456, "FF FF FF 00", "12 34 56 00"},     {0xF5FFFF, 0x123456, "F5 FF FF 00", "12 34 56 00"},
        {0xFFFFFFFF, 0xFFFFFFFE, "00 00 00 00", "FF FF FF 00"}, {0xFFFFFFFE, 0xFFFFFFFF, "00 00 00 00", "FF FF FF 00"}};
    const RECTL box = {0, 0, 500, 500};
    for (const auto& colours : cases) {
        start_page();
        String text(font, u"A", {10, 100});
        engine::Brush brush = engine::Brush::solid(colours.text), ground = engine::Brush::solid(colours.ground);
        EXPECT_TRUE(device->text_out(text, font, nullptr, brush, &box, &ground));
        const auto records = finish();
        ASSERT_GE(records.size(), 2u);
        EXPECT_EQ(to_hex(records[1].body),
                  std::string("E8 12 00 00 20 ") + colours.text_hex + " " + colours.ground_hex + " 02 ");
    }
}

TEST_F(TextRecordTest, LongStringsAreCut) {
    const RECTL box = {0, 100, 7000, 300};
    engine::Brush white = engine::Brush::solid(0xFFFFFF);
    for (ULONG batch : {1u, 7u, 255u, 256u, 600u}) {
        start_page();
        String text(font, repeated(600), line({5, 200}, 600, 10));
        text.rclBkGround.right = 6003;
        text.set_batch(batch);
        text.set_empty_batches(true);
        EXPECT_TRUE(device->text_out(text, font, nullptr, black, &box, &white));
        const auto records = finish_text();
        ASSERT_EQ(records.size(), 3u);
        const int counts[] = {255, 255, 90};
        for (size_t i = 0; i < 3; ++i) {
            const Bytes& body = records[i].body;
            const int count = counts[i];
            EXPECT_EQ(body[0], i == 0 ? 0x50 : 0x40);
            EXPECT_EQ(body[1], count);
            const auto at = 4 + 2 * static_cast<size_t>(count);
            EXPECT_EQ(u16_at(body, at), 5 + 10 * 255 * static_cast<int>(i));
            EXPECT_EQ(u16_at(body, at + 2), 200);
            // To the next record's first glyph; at the string's end to the right edge of its background.
            for (size_t k = 0; k < static_cast<size_t>(count); ++k) {
                EXPECT_EQ(u16_at(body, at + 4 + 2 * k), i == 2 && k == 89 ? 8 : 10);
            }
        }
        const Bytes& first = records[0].body;
        EXPECT_EQ(to_hex(Bytes(first.end() - 8, first.end())), "00 00 64 00 58 1B 2C 01 ");
    }
}

struct Gap {
    const char* what;
    POINTL second;  // where the second run of five glyphs starts
    size_t records;
};

TEST_F(TextRecordTest, RunsOfOneLineBecomeOneRecord) {
    // Five As from 100 end at 400; three spaces are 75.
    const Gap gaps[] = {{"touching", {400, 200}, 1},          {"three spaces away", {475, 200}, 1},
                        {"further", {476, 200}, 2},           {"over the last glyph's advance", {341, 200}, 1},
                        {"at the last glyph", {340, 200}, 2}, {"another line", {400, 201}, 2}};
    for (const Gap& gap : gaps) {
        SCOPED_TRACE(gap.what);
        start_page();
        String first(font, u"AAAAA", {100, 200}), second(font, u"AAAAA", gap.second);
        EXPECT_TRUE(draw(first, font) && draw(second, font));
        const auto records = finish_text();
        ASSERT_EQ(records.size(), gap.records);
        if (gap.records == 1) {
            BytesBuilder run;
            run.u8({0x40, 10}).u16({'A', 'A', 'A', 'A', 'A', 'A', 'A', 'A', 'A', 'A', 0, 100, 200});
            run.u16({60, 60, 60, 60, static_cast<int>(gap.second.x) - 340, 60, 60, 60, 60, 60});
            EXPECT_EQ(to_hex(records[0].body), to_hex(run.bytes));
        }
    }
}

TEST_F(TextRecordTest, RunsOfAnotherKindDoNotJoin) {
    engine::Brush red = engine::Brush::solid(0xFF0000);
    engine::Clip clip = engine::Clip::rectangle({0, 0, 820, 190});
    // Behind a run of 200 glyphs that ends at 800.
    struct {
        String second;
        engine::Brush* brush;
        engine::Clip* clip;
        size_t records;
    } cases[] = {
        {{font, repeated(55), line({800, 200}, 55, 1)}, &black, nullptr, 1},
        {{font, repeated(56), line({800, 200}, 56, 1)}, &black, nullptr, 2},  // more than a record holds
        {{font, std::vector<USHORT>{2}, line({800, 200}, 1, 60)}, &black, nullptr, 2},
        {{font, u"A", line({800, 200}, 1, 60)}, &red, nullptr, 2},
        {{font, u"A", line({800, 200}, 1, 60)}, &black, &clip, 2},
        {{font, u"AA", Placement{{{800, 200}, {860, 201}}, {920, 201}}}, &black, nullptr, 2},
    };
    for (auto& other : cases) {
        start_page();
        String first(font, repeated(200), line({0, 200}, 200, 4));
        first.rclBkGround.right = 800;
        EXPECT_TRUE(draw(first, font));
        EXPECT_TRUE(device->text_out(other.second, font, other.clip, *other.brush));
        EXPECT_EQ(finish_text().size(), other.records) << &other - cases;
    }
}

TEST_F(TextRecordTest, FontsWithoutASpaceJoinAtAnyDistance) {
    FontPlan plan;
    plan.glyphs = {{u'A', 600}};
    Font narrow(font_file(plan), 0, 100);
    start_page();
    String first(narrow, u"A", {0, 200}), second(narrow, u"A", {700, 200});
    EXPECT_TRUE(draw(first, narrow) && draw(second, narrow));
    EXPECT_EQ(finish_text().size(), 1u);
}

TEST_F(TextRecordTest, WhatIsHeldComesBeforeWhatFollows) {
    start_page();
    String text(font, u"A", {10, 100});
    EXPECT_TRUE(draw(text, font));
    engine::Path path;
    path.add_rect({1, 1, 5, 5});
    EXPECT_TRUE(device->fill(path, nullptr, black, FP_WINDINGMODE));
    EXPECT_TRUE(draw(text, font));
    std::vector<int> types;
    for (const Record& record : finish()) types.push_back(record.type);
    EXPECT_EQ(types, (std::vector<int>{9, 19, 30, 39, 35, 30}));
}

TEST_F(TextRecordTest, RotatedTextAdvancesAlongItsBaseline) {
    struct {
        double degrees;
        POINTL start;
        const char* hex;
    } cases[] = {
        // The last advance is the font's own, rounded: 50 pixels of B.
        {90, {300, 900}, "40 02 41 00 42 00 00 00 2C 01 84 03 3C 00 32 00 "},
        {180, {300, 900}, "40 02 41 00 42 00 00 00 2C 01 84 03 3C 00 32 00 "},
        {270, {300, 300}, "40 02 41 00 42 00 00 00 2C 01 2C 01 3C 00 32 00 "},
        {89.2, {300, 900}, "40 02 41 00 42 00 00 00 2C 01 84 03 3C 00 32 00 "},
        {30, {300, 900}, "40 02 41 00 42 00 00 00 2C 01 84 03 3C 00 32 00 "},
    };
    for (const auto& direction : cases) {
        SCOPED_TRACE(direction.degrees);
        Font* rotated = turned(direction.degrees);
        start_page();
        String text(*rotated, u"AB", direction.start);
        EXPECT_TRUE(draw(text, *rotated));
        const POINTL behind = {text.pgp[1].ptl.x + 1, text.pgp[1].ptl.y - 1};
        String next(*rotated, u"A", behind);
        EXPECT_TRUE(draw(next, *rotated));
        const auto records = finish_text();
        ASSERT_EQ(records.size(), 2u);
        EXPECT_EQ(to_hex(records[0].body), direction.hex);
    }
}

TEST_F(TextRecordTest, GlyphsBesideTheBaselineHaveOffsets) {
    struct {
        double degrees;
        Placement placement;
        LONG right;  // of the background
        const char* hex;
        FLONG flags = SO_DXDY;
    } cases[] = {
        // B is raised by 7; the end stands at the last glyph's height.
        {0, {{{100, 200}, {160, 193}}, {}}, 210, "48 02 41 00 42 00 00 00 64 00 C8 00 3C 00 32 00 00 00 07 00 "},
        // B is lowered.
        {0, {{{100, 200}, {160, 203}}, {}}, 210, "48 02 41 00 42 00 00 00 64 00 C8 00 3C 00 32 00 00 00 FD FF "},
        // Upwards: raised is to the left.
        {90, {{{100, 200}, {95, 140}}, {}}, 0, "48 02 41 00 42 00 00 00 64 00 C8 00 3C 00 32 00 00 00 05 00 "},
        {180, {{{200, 200}, {140, 205}}, {}}, 0, "48 02 41 00 42 00 00 00 C8 00 C8 00 3C 00 32 00 00 00 05 00 "},
        {270, {{{100, 200}, {105, 260}}, {}}, 0, "48 02 41 00 42 00 00 00 64 00 C8 00 3C 00 32 00 00 00 05 00 "},
        // At 45 degrees: 40 right and 60 up is 71 along and 14 beside; the foot of it is (150, 150).
        {45, {{{100, 200}, {140, 140}}, {}}, 0, "48 02 41 00 42 00 00 00 64 00 C8 00 47 00 31 00 00 00 0E 00 "},
        // The string says whether places off the baseline mean anything.
        {0,
         {{{100, 200}, {160, 193}}, {}},
         210,
         "48 02 41 00 42 00 00 00 64 00 C8 00 3C 00 32 00 00 00 07 00 ",
         SO_ESC_NOT_ORIENT},
        {0, {{{100, 200}, {160, 193}}, {}}, 210, "40 02 41 00 42 00 00 00 64 00 C8 00 3C 00 32 00 ", 0},
        // On the baseline.
        {0, {{{100, 200}, {160, 200}}, {}}, 210, "40 02 41 00 42 00 00 00 64 00 C8 00 3C 00 32 00 "},
    };
    for (const auto& place : cases) {
        SCOPED_TRACE(place.hex);
        Font* rotated = turned(place.degrees);
        start_page();
        String text(*rotated, u"AB", place.placement);
        text.flAccel |= place.flags;
        text.rclBkGround.right = place.right;
        EXPECT_TRUE(draw(text, *rotated));
        const auto records = finish_text();
        ASSERT_EQ(records.size(), 1u);
        EXPECT_EQ(to_hex(records[0].body), place.hex);
    }
}

TEST_F(TextRecordTest, EqualAdvancesCountFromEachBatch) {
    start_page();
    Placement placement = line({10, 100}, 300, 3);  // the engine's own places count where a batch begins
    String text(font, repeated(300), placement);
    text.ulCharInc = 5;
    text.set_batch(260);
    EXPECT_TRUE(draw(text, font));
    const auto records = finish_text();
    ASSERT_EQ(records.size(), 2u);
    const size_t first = 4 + 2 * 255, second = 4 + 2 * 45;
    EXPECT_EQ(u16_at(records[0].body, first), 10);
    for (size_t i = 0; i < 255; ++i) EXPECT_EQ(u16_at(records[0].body, first + 4 + 2 * i), 5);
    EXPECT_EQ(u16_at(records[1].body, second), 10 + 255 * 5);
    // The second batch begins with glyph 260, at 10 + 260 * 3.
    for (size_t i = 0; i < 45; ++i) {
        const int expected = i == 4 ? (10 + 260 * 3) - (10 + 259 * 5) : 5;
        EXPECT_EQ(static_cast<int16_t>(u16_at(records[1].body, second + 4 + 2 * i)), expected);
    }
}

TEST_F(TextRecordTest, WideCoordinates) {
    engine::Brush white = engine::Brush::solid(0xFFFFFF);
    const RECTL wide = {0, 0, 40000, 100}, narrow = {0, 0, 400, 100};
    struct {
        POINTL start;
        const RECTL* opaque;
        int type;
        const char* hex;
    } cases[] = {
        {{40000, -5}, nullptr, 54, "40 01 41 00 00 00 40 9C 00 00 FB FF FF FF 3C 00 "},
        {{-5, 70000},
         &narrow,
         54,
         "50 01 41 00 00 00 FB FF FF FF 70 11 01 00 3C 00 00 00 00 00 00 00 00 00 90 01 00 00 64 00 00 00 "},
        {{-5, 7},
         &wide,
         54,
         "50 01 41 00 00 00 FB FF FF FF 07 00 00 00 3C 00 00 00 00 00 00 00 00 00 40 9C 00 00 64 00 00 00 "},
        {{32767, -32768}, &narrow, 30, "50 01 41 00 00 00 FF 7F 00 80 3C 00 00 00 00 00 90 01 64 00 "},
    };
    for (const auto& place : cases) {
        start_page();
        String text(font, u"A", place.start);
        EXPECT_TRUE(device->text_out(text, font, nullptr, black, place.opaque, place.opaque ? &white : nullptr));
        const auto records = finish_text();
        ASSERT_EQ(records.size(), 1u);
        EXPECT_EQ(records[0].type, place.type);
        EXPECT_EQ(to_hex(records[0].body), place.hex);
    }
}

TEST_F(TextRecordTest, TheBackgroundBoxNeedsNoRectangle) {
    engine::Brush white = engine::Brush::solid(0xFFFFFF);
    auto flags = [&](Font& drawn, bool same_box, bool with_brush) {
        start_page();
        String text(drawn, u"A", {200, 200});
        RECTL box = text.rclBkGround;
        if (!same_box) ++box.right;
        EXPECT_TRUE(device->text_out(text, drawn, nullptr, black, &box, with_brush ? &white : nullptr));
        const auto records = finish();
        EXPECT_EQ(records[1].body.back(), with_brush ? 2 : 1);  // the background mode
        return int{records.back().body[0]};
    };
    EXPECT_EQ(flags(font, true, true), 0x40);
    EXPECT_EQ(flags(font, false, true), 0x50);
    EXPECT_EQ(flags(font, false, false), 0x40);
    EXPECT_EQ(flags(*turned(90), true, true), 0x50);
}

TEST_F(TextRecordTest, NothingToSay) {
    const RECTL box = {0, 0, 10, 10}, empty = {10, 10, 10, 20};
    engine::Brush white = engine::Brush::solid(0xFFFFFF);
    start_page();
    String zeros(font, std::u16string(3, u'\0'), {10, 100}), none(font, u"", {10, 100}), null(font, u"A", {10, 100});
    null.pwszOrg = nullptr;
    for (String* text : {&zeros, &none, &null}) {
        EXPECT_TRUE(draw(*text, font));
        EXPECT_TRUE(device->text_out(*text, font, nullptr, black, &empty, &white));
    }
    EXPECT_EQ(finish().size(), 0u);
    // A rectangle to paint keeps the call alive, but only glyphs make a text record.
    start_page();
    EXPECT_TRUE(device->text_out(none, font, nullptr, black, &box, &white));
    EXPECT_TRUE(device->text_out(zeros, font, nullptr, black, &box, &white));
    std::vector<int> types;
    for (const Record& record : finish()) types.push_back(record.type);
    EXPECT_EQ(types, (std::vector<int>{9, 19, 30}));
}

TEST_F(TextRecordTest, ItsBackgroundIsInk) {
    start_page();
    String text(font, u"A", {100, 200});
    EXPECT_TRUE(draw(text, font));
    const RECTL marks = pdevice().page_marks;
    EXPECT_TRUE(marks.left == 100 && marks.top == 120 && marks.right == 160 && marks.bottom == 220);
    finish();
}

TEST_F(TextRecordTest, CallsThatCannotBeRecorded) {
    open_device();
    String text(font, u"A", {100, 200});
    EXPECT_FALSE(draw(text, font));  // outside a page
    start_page();
    SURFOBJ* surface = device->surface();
    EXPECT_FALSE(DrvTextOut(surface, nullptr, &font, nullptr, nullptr, nullptr, &black, nullptr, nullptr, 0));
    EXPECT_FALSE(DrvTextOut(surface, &text, nullptr, nullptr, nullptr, nullptr, &black, nullptr, nullptr, 0));
    host::fail_call(host::CallKind::Engine, 2);  // behind the count of the glyphs: the description
    EXPECT_FALSE(draw(text, font));
    EXPECT_EQ(finish().size(), 0u);  // none of them failed the document
}

TEST_F(TextRecordTest, AnEngineThatStopsHalfWay) {
    start_page();
    String text(font, repeated(300), line({10, 100}, 300, 2));
    text.set_batch(100);
    draw(text, font);  // defines the font: from here on each call counts
    ASSERT_TRUE(device->send_page());
    ASSERT_TRUE(device->end_document());
    // Three batches are counted, then description, transform and file; the last batch of the walk fails.
    start_page();
    draw(text, font);
    host::fail_call(host::CallKind::Engine, 3 + 3 + 3);
    EXPECT_TRUE(draw(text, font));
    EXPECT_EQ(host::failed_function(), "STROBJ_bEnumPositionsOnly");
    EXPECT_EQ(finish_text().size(), 2u);  // of the first call
}

}  // namespace
}  // namespace kv::test
