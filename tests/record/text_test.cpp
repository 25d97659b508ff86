// Text records and text states.

#include "tests/common/text_test.h"

#include <algorithm>
#include <limits>

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

// The body of As from `start` on; `advance` tells that of each.
template <class Advance>
BytesBuilder run_of(int flags, int count, POINTL start, Advance advance) {
    BytesBuilder run;
    run.u8({flags, count});
    for (int i = 0; i < count; ++i) run.u16({'A'});
    run.u16({0, start.x, start.y});
    for (int i = 0; i < count; ++i) run.u16({advance(i)});
    return run;
}

std::vector<int> types_of(const std::vector<Record>& records) {
    std::vector<int> types;
    for (const Record& record : records) types.push_back(record.type);
    return types;
}

struct TextRecordTest : TextTest {
    Font* turned(double degrees) {
        fonts.push_back(std::make_unique<Font>(sans, 0, 100, degrees));
        return fonts.back().get();
    }
    void TearDown() override {
        fonts.clear();  // while the driver is there
        TextTest::TearDown();
    }

    BOOL draw_on(String& text, const RECTL& box, engine::Brush* ground) {
        return device->text_out(text, font, nullptr, black, &box, ground);
    }
    // Ends the document, whose text records must be those.
    void expect_text(const std::vector<Record>& expected) { EXPECT_EQ(listing(finish_text()), listing(expected)); }
    void expect_text(const std::string& hex) { expect_text({{30, from_hex(hex)}}); }

    engine::Brush white = engine::Brush::solid(0xFFFFFF);
    std::vector<std::unique_ptr<Font>> fonts;
    // Of 100 pixels: A is 60 wide, B 50, C 40, the space 25.
    Font& font = *turned(0);
};

TEST_F(TextRecordTest, AStringWithItsFontAndState) {
    String text(font, u"AB", {100, 200});
    text.set_code_page(1252);
    start_page();
    EXPECT_TRUE(draw(text, font));
    EXPECT_TRUE(same_rect(pdevice().page_marks, {100, 120, 210, 220}));  // the background is ink
    const auto records = finish();
    BytesBuilder definition, state, run;
    // The identifier is the position of the record.
    definition.u32({0x20000012, -100, 0, 0, 0, 400}).u8({0, 0, 0, 1, 7, 0x20, 2, 2});
    definition.u16({'T', 'e', 's', 't', ' ', 'S', 'a', 'n', 's', 0});
    for (int i = 10; i < 32; ++i) definition.u16({0xFFFF});
    state.u8({0xD8}).u32({0x20000012, 0, 1252}).u8({1});
    run.u8({0x40, 2}).u16({'A', 'B', 0, 100, 200, 60, 50});
    EXPECT_EQ(listing(records), listing({{9, definition.bytes}, {19, state.bytes}, {30, run.bytes}}));
}

TEST_F(TextRecordTest, AFontWhoseSizeIsNoNumberHasNone) {
    Font& none = *turned(std::numeric_limits<double>::quiet_NaN());
    String text(none, u"A", {100, 200});
    start_page();
    draw(text, none);
    const auto records = finish();
    ASSERT_EQ(records.at(0).type, 9);
    BytesBuilder definition;
    definition.u32({0x20000012, 0, 0, 0, 0, 400});
    EXPECT_EQ(to_hex(records[0].body).substr(0, 24 * 3), to_hex(definition.bytes));
}

TEST_F(TextRecordTest, GlyphIndices) {
    String text(font, std::vector<USHORT>{2, 3}, line({10, 20}, 2, 60));
    text.rclBkGround.right = 125;
    start_page();
    draw(text, font);
    expect_text("20 02 0200 0300 0A00 1400 3C00 3700");
}

TEST_F(TextRecordTest, StatesSayOnlyWhatChanged) {
    start_page();
    engine::Brush red = engine::Brush::solid(0xFF0000);
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
    for (ULONG batch : {1u, 7u, 255u, 256u, 600u}) {
        start_page();
        String text(font, repeated(600), line({5, 200}, 600, 10));
        text.rclBkGround.right = 6003;
        text.set_batch(batch);
        text.set_empty_batches(true);
        EXPECT_TRUE(draw_on(text, {0, 100, 7000, 300}, &white));
        // To the next record's first glyph; at the string's end to the right edge of its background.
        auto ten = [](int) { return 10; };
        expect_text({{30, run_of(0x50, 255, {5, 200}, ten).u16({0, 100, 7000, 300}).bytes},
                     {30, run_of(0x40, 255, {2555, 200}, ten).bytes},
                     {30, run_of(0x40, 90, {5105, 200}, [](int i) { return i == 89 ? 8 : 10; }).bytes}});
    }
}

TEST_F(TextRecordTest, RunsOfOneLineBecomeOneRecord) {
    // Five As from 100 end at 400; three spaces are 75.
    struct {
        const char* what;
        POINTL second;  // where the second run of five glyphs starts
        size_t records;
    } gaps[] = {{"touching", {400, 200}, 1},          {"three spaces away", {475, 200}, 1},
                {"further", {476, 200}, 2},           {"over the last glyph's advance", {341, 200}, 1},
                {"at the last glyph", {340, 200}, 2}, {"another line", {400, 201}, 2}};
    for (const auto& gap : gaps) {
        SCOPED_TRACE(gap.what);
        start_page();
        String first(font, u"AAAAA", {100, 200}), second(font, u"AAAAA", gap.second);
        EXPECT_TRUE(draw(first, font) && draw(second, font));
        const auto records = finish_text();
        ASSERT_EQ(records.size(), gap.records);
        if (gap.records == 1) {
            const auto run = run_of(0x40, 10, {100, 200}, [&](int i) { return i == 4 ? gap.second.x - 340 : 60; });
            EXPECT_EQ(to_hex(records[0].body), to_hex(run.bytes));
        }
    }
}

// The box of joined runs would cover what stands between them.
TEST_F(TextRecordTest, OpaqueRunsJoinOnlyWithoutAGap) {
    for (const auto& [x, records] : {std::pair{160, 1u}, {161, 2u}, {159, 1u}}) {
        start_page();
        String first(font, u"A", {100, 200}), second(font, u"A", {x, 200});  // 60 wide
        for (String* text : {&first, &second}) EXPECT_TRUE(draw_on(*text, text->rclBkGround, &white));
        EXPECT_EQ(finish_text().size(), records) << x;
    }
}

TEST_F(TextRecordTest, TheClipSeesTheRectangleThatIsPainted) {
    struct {
        RECTL opaque;
        engine::Brush* ground;
        bool clips;
    } cases[] = {
        {{90, 110, 160, 230}, &white, false},  // within the clip, as the text is
        {{90, 110, 600, 230}, &white, true},
        {{90, 110, 600, 230}, nullptr, false},  // is not painted
        {{600, 230, 600, 230}, &white, false},  // empty
    };
    engine::Clip clip = engine::Clip::rectangle({80, 100, 400, 300});
    for (const auto& c : cases) {
        start_page();
        String text(font, u"A", {100, 200});
        EXPECT_TRUE(device->text_out(text, font, &clip, black, &c.opaque, c.ground));
        EXPECT_TRUE(same_rect(pdevice().page_marks, {100, 120, 160, 220}));  // of the text alone
        const auto types = types_of(finish());
        EXPECT_EQ(std::ranges::count(types, 12), c.clips ? 1 : 0) << &c - cases;
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
    for (char16_t last : {u'\x1D', u'\x1F'}) {  // a run of glyphs may end where the space would be
        plan.glyphs = {{last, 100}, {u'A', 600}};
        Font narrow(font_file(plan), 0, 100);
        start_page();
        String first(narrow, u"A", {0, 200}), second(narrow, u"A", {700, 200});
        EXPECT_TRUE(draw(first, narrow) && draw(second, narrow));
        EXPECT_EQ(finish_text().size(), 1u);
    }
}

TEST_F(TextRecordTest, WhatIsHeldComesBeforeWhatFollows) {
    start_page();
    String text(font, u"A", {10, 100});
    EXPECT_TRUE(draw(text, font));
    engine::Path path;
    path.add_rect({1, 1, 5, 5});
    EXPECT_TRUE(device->fill(path, nullptr, black, FP_WINDINGMODE));
    EXPECT_TRUE(draw(text, font));
    EXPECT_EQ(types_of(finish()), (std::vector<int>{9, 19, 30, 39, 35, 30}));
}

TEST_F(TextRecordTest, RotatedTextAdvancesAlongItsBaseline) {
    for (const auto& [degrees, y] : {std::pair{90., 900}, {180., 900}, {270., 300}, {89.2, 900}, {30., 900}}) {
        SCOPED_TRACE(degrees);
        Font* rotated = turned(degrees);
        start_page();
        String text(*rotated, u"AB", {300, y});
        EXPECT_TRUE(draw(text, *rotated));
        String next(*rotated, u"A", {text.pgp[1].ptl.x + 1, text.pgp[1].ptl.y - 1});
        EXPECT_TRUE(draw(next, *rotated));
        const auto records = finish_text();
        ASSERT_EQ(records.size(), 2u);
        // The last advance is the font's own, rounded: 50 pixels of B.
        BytesBuilder run;
        run.u8({0x40, 2}).u16({'A', 'B', 0, 300, y, 60, 50});
        EXPECT_EQ(to_hex(records[0].body), to_hex(run.bytes));
    }
}

TEST_F(TextRecordTest, GlyphsBesideTheBaselineHaveOffsets) {
    struct {
        double degrees;
        POINTL first, second;
        LONG right;       // of the background
        const char* hex;  // behind AB: the start, the advances, the offsets
        FLONG flags = SO_DXDY;
    } cases[] = {
        // B is raised by 7; the end stands at the last glyph's height.
        {0, {100, 200}, {160, 193}, 210, "6400 C800 3C00 3200 0000 0700"},
        {0, {100, 200}, {160, 203}, 210, "6400 C800 3C00 3200 0000 FDFF"},  // lowered
        {90, {100, 200}, {95, 140}, 0, "6400 C800 3C00 3200 0000 0500"},    // upwards: raised is to the left
        {180, {200, 200}, {140, 205}, 0, "C800 C800 3C00 3200 0000 0500"},
        {270, {100, 200}, {105, 260}, 0, "6400 C800 3C00 3200 0000 0500"},
        // At 45 degrees: 40 right and 60 up is 71 along and 14 beside; the foot of it is (150, 150).
        {45, {100, 200}, {140, 140}, 0, "6400 C800 4700 3100 0000 0E00"},
        // The string says whether places off the baseline mean anything.
        {0, {100, 200}, {160, 193}, 210, "6400 C800 3C00 3200 0000 0700", SO_ESC_NOT_ORIENT},
        {0, {100, 200}, {160, 193}, 210, "6400 C800 3C00 3200", 0},
        {0, {100, 200}, {160, 200}, 210, "6400 C800 3C00 3200"},  // on the baseline
    };
    for (const auto& place : cases) {
        SCOPED_TRACE(&place - cases);
        Font* rotated = turned(place.degrees);
        start_page();
        String text(*rotated, u"AB", Placement{{place.first, place.second}, {}});
        text.flAccel |= place.flags;
        text.rclBkGround.right = place.right;
        EXPECT_TRUE(draw(text, *rotated));
        const std::string hex = place.hex;
        expect_text((hex.size() > 20 ? "48 02 4100 4200 0000" : "40 02 4100 4200 0000") + hex);
    }
}

TEST_F(TextRecordTest, EqualAdvancesCountFromEachBatch) {
    start_page();
    String text(font, repeated(300), line({10, 100}, 300, 3));  // the engine's own places count where a batch begins
    text.ulCharInc = 5;
    text.set_batch(260);
    EXPECT_TRUE(draw(text, font));
    // The second batch begins with glyph 260, at 10 + 260 * 3.
    auto advance = [](int i) { return i == 4 ? (10 + 260 * 3) - (10 + 259 * 5) : 5; };
    expect_text({{30, run_of(0x40, 255, {10, 100}, [](int) { return 5; }).bytes},
                 {30, run_of(0x40, 45, {10 + 255 * 5, 100}, advance).bytes}});
}

TEST_F(TextRecordTest, WideCoordinates) {
    const RECTL wide = {0, 0, 40000, 100}, narrow = {0, 0, 400, 100};
    struct {
        POINTL start;
        const RECTL* opaque;
        int type;
        const char* hex;  // behind the text
    } cases[] = {
        {{40000, -5}, nullptr, 54, "409C0000 FBFFFFFF 3C00"},
        {{-5, 70000}, &narrow, 54, "FBFFFFFF 70110100 3C00 00000000 00000000 90010000 64000000"},
        {{-5, 7}, &wide, 54, "FBFFFFFF 07000000 3C00 00000000 00000000 409C0000 64000000"},
        {{32767, -32768}, &narrow, 30, "FF7F 0080 3C00 0000 0000 9001 6400"},
    };
    for (const auto& place : cases) {
        start_page();
        String text(font, u"A", place.start);
        EXPECT_TRUE(device->text_out(text, font, nullptr, black, place.opaque, place.opaque ? &white : nullptr));
        expect_text(
            {{place.type, from_hex((place.opaque ? "50 01 4100 0000" : "40 01 4100 0000") + std::string(place.hex))}});
    }
}

TEST_F(TextRecordTest, TheBackgroundBoxNeedsNoRectangle) {
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
    start_page();
    String zeros(font, std::u16string(3, u'\0'), {10, 100}), none(font, u"", {10, 100}), null(font, u"A", {10, 100});
    null.pwszOrg = nullptr;
    for (String* text : {&zeros, &none, &null})
        EXPECT_TRUE(draw(*text, font) && draw_on(*text, {10, 10, 10, 20}, &white));
    EXPECT_EQ(finish().size(), 0u);
    // A rectangle to paint keeps the call alive, but only glyphs make a text record.
    start_page();
    EXPECT_TRUE(draw_on(none, {0, 0, 10, 10}, &white) && draw_on(zeros, {0, 0, 10, 10}, &white));
    EXPECT_EQ(types_of(finish()), (std::vector<int>{9, 19, 30}));
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
    String lost(font, u"A", {10, 100});
    lost.lose_glyphs();
    EXPECT_TRUE(draw(lost, font));
    EXPECT_EQ(finish_text().size(), 0u);
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
