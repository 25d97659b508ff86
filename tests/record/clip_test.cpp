// Clips: the record of one is written when it changes, and large ones are encoded once.

#include <algorithm>

#include "record/clip_recorder.h"
#include "tests/common/fault_test.h"

namespace kv::test {
namespace {

using engine::Brush;
using engine::Clip;
using engine::Path;

const char* kState = "27 08 0E00 04000080 0D 02 ";
const char* kSquare = "23 14 00 01 0F 04 0000 0000 0900 0000 0900 0900 0000 0900 ";

struct ClipTest : PrintTest {
    // Fills the square (0, 0) to (9, 9), or one at x.
    BOOL draw(Clip* clip, LONG x = 0) {
        Path path;
        path.add_rect({x, 0, x + 9, 9});
        Brush black = Brush::solid(0);
        return device->fill(path, clip, black, FP_WINDINGMODE);
    }
    std::string records() {
        end_page_and_document();
        EXPECT_EQ(faults_of(job()), "");
        return to_hex(page_records());
    }
    // As many rectangles below one another, each an entry of 18 bytes.
    static Clip region_of(int rects) {
        std::vector<RECTL> list;
        for (LONG y = 0; y < rects; ++y) list.push_back({0, y * 4, 500, y * 4 + 2});
        return Clip::region(std::move(list));
    }
    size_t paths_asked() const {
        const auto& log = host::call_log();
        return static_cast<size_t>(std::count(log.begin(), log.end(), "CLIPOBJ_ppoGetPath"));
    }
};

std::string hex(const std::string& text) { return to_hex(from_hex(text)); }

TEST_F(ClipTest, WritesRectanglesWhereTheyCutAndChange) {
    Clip partly = Clip::rectangle({5, 5, 50, 50}), around = Clip::rectangle({0, 0, 9, 9});
    Clip same = Clip::rectangle({5, 5, 50, 50}), turned = Clip::rectangle({50, 50, 5, 5}), all = Clip::everything();
    start_page();
    for (Clip* clip : {&partly, &same, &partly}) EXPECT_TRUE(draw(clip));
    EXPECT_TRUE(draw(&around));  // contains what is drawn
    EXPECT_TRUE(draw(&around));
    EXPECT_TRUE(draw(&turned));  // normalised
    for (Clip* clip : {&all, &all, static_cast<Clip*>(nullptr)}) EXPECT_TRUE(draw(clip));
    const std::string clip = "0C 08 0500 0500 3200 3200 ", square = kSquare, reset = "0A 00 ";
    EXPECT_EQ(pdevice().statistics.largest_clip_rects, 1u);
    EXPECT_EQ(records(), hex(clip + kState + square + square + square + reset + square + square + clip + square +
                             reset + square + square + square));
}

TEST_F(ClipTest, TakesWideRectanglesForWideDrawing) {
    Clip narrow = Clip::rectangle({5, 5, 50, 50}), wide = Clip::rectangle({5, 5, 40000, 50});
    start_page();
    EXPECT_TRUE(draw(&narrow, 40000));
    EXPECT_TRUE(draw(&narrow));
    EXPECT_TRUE(draw(&wide));
    const std::string far =
        "30 24 00 01 0F 04 409C0000 00000000 499C0000 00000000 499C0000 09000000 409C0000 09000000 ";
    EXPECT_EQ(records(),
              hex("32 10 05000000 05000000 32000000 32000000 " + std::string(kState) + far +
                  "0C 08 0500 0500 3200 3200 " + kSquare + "32 10 05000000 05000000 409C0000 32000000 " + kSquare));
}

TEST_F(ClipTest, BeginsEveryPageWithoutAClip) {
    Clip clip = Clip::rectangle({5, 5, 50, 50}), region = region_of(100);
    start_page();
    EXPECT_TRUE(draw(&clip));
    ASSERT_TRUE(device->send_page());
    ASSERT_TRUE(device->start_page());
    EXPECT_TRUE(draw(&clip));
    EXPECT_TRUE(draw(&region));
    ASSERT_TRUE(device->send_page());
    ASSERT_TRUE(device->start_page());
    host::set_call_log(true);
    EXPECT_TRUE(draw(&region));
    EXPECT_EQ(paths_asked(), 0u) << "what is kept outlives pages";
    end_page_and_document();
    EXPECT_EQ(faults_of(job()), "");
    const std::string written = to_hex(job()), record = hex("0C 08 0500 0500 3200 3200");
    EXPECT_NE(written.find(record), written.rfind(record));
}

TEST_F(ClipTest, EncodesLargeRegionsOnce) {
    struct {
        int rects;
        bool known;  // has an identity
        size_t asked;
    } cases[] = {{50, true, 3}, {100, true, 1}, {100, false, 3}};  // 902 and 1802 bytes
    for (const auto& test : cases) {
        Clip region = region_of(test.rects);
        if (!test.known) region.iUniq = 0;
        Clip all = Clip::everything();
        host::printer(printer).output.clear();
        start_page();
        host::set_call_log(true);
        EXPECT_TRUE(draw(&region));
        EXPECT_TRUE(draw(&all));
        EXPECT_TRUE(draw(&region));
        EXPECT_TRUE(draw(&region));
        EXPECT_EQ(paths_asked(), test.asked);
        host::set_call_log(false);
        EXPECT_EQ(pdevice().statistics.largest_entry, 4u);
        const std::string all_records = records();
        // Type 33, a two-byte length, one path flag byte and the count of entries.
        BytesBuilder head;
        head.u8({33, 0xFE}).u16({2 + 18 * test.rects}).u8({0, test.rects, 0x0F, 4});
        const size_t first = all_records.find(to_hex(head.bytes));
        EXPECT_EQ(first, 0u);
        const size_t second = all_records.find(to_hex(head.bytes), first + 1);
        ASSERT_NE(second, std::string::npos);
        EXPECT_EQ(all_records.find(to_hex(head.bytes), second + 1), std::string::npos);
        // Another document, in which only the kept clip has entries of 4 points.
        start_page();
        Path line;
        line.move_to(at(0, 0));
        line.line_to(at(5, 5));
        Brush black = Brush::solid(0);
        EXPECT_TRUE(device->fill(line, &region, black, FP_WINDINGMODE));
        EXPECT_EQ(pdevice().statistics.largest_entry, 4u);
        end_page_and_document();
    }
}

TEST_F(ClipTest, FailsWithoutThePathOfARegion) {
    Clip region = region_of(3);
    start_page();
    host::fail_call(host::CallKind::Engine, 1);
    EXPECT_FALSE(draw(&region));
    EXPECT_EQ(host::failed_function(), "CLIPOBJ_ppoGetPath");
    EXPECT_TRUE(device->end_document());
    EXPECT_TRUE(job().empty());
}

TEST_F(ClipTest, WritesNothingForARegionOfSinglePixels) {
    Clip dots = Clip::region({{5, 5, 5, 5}});
    start_page();
    EXPECT_TRUE(draw(&dots));
    EXPECT_EQ(records(), hex(std::string(kState) + kSquare));
}

// A pen wider than a pixel reaches beyond its path.
TEST_F(ClipTest, WideStrokesAreCut) {
    const struct {
        bool geometric;
        LONG width;
        int join, cap;
        RECTL inside;  // contains all that is drawn along (100, 100) to (109, 109)
    } kCases[] = {
        {false, 1, 0, 0, {100, 100, 109, 109}},  // thin: as its path
        {true, 1, JOIN_MITER, ENDCAP_SQUARE, {100, 100, 109, 109}},
        {true, 4, JOIN_ROUND, ENDCAP_ROUND, {98, 98, 112, 112}},
        {true, 5, JOIN_BEVEL, ENDCAP_BUTT, {97, 97, 113, 113}},
        {true, 4, JOIN_ROUND, ENDCAP_SQUARE, {97, 97, 113, 113}},  // corners of the ends: 2.83
        {true, 4, JOIN_MITER, ENDCAP_BUTT, {80, 80, 130, 130}},    // ten times half the pen
        {false, 3, 0, 0, {97, 97, 113, 113}},
    };
    Path path;
    path.add_rect({100, 100, 109, 109});
    Brush black = Brush::solid(0);
    for (const auto& c : kCases) {
        LINEATTRS line = c.geometric ? geometric_line(static_cast<float>(c.width)) : hairline(c.width);
        line.iJoin = static_cast<ULONG>(c.join);
        line.iEndCap = static_cast<ULONG>(c.cap);
        for (const RECTL& less : {RECTL{}, RECTL{1, 0, 0, 0}, RECTL{0, 0, -1, 0}, RECTL{0, 0, 0, -1}}) {
            const RECTL& r = c.inside;
            Clip clip = Clip::rectangle({r.left + less.left, r.top, r.right + less.right, r.bottom + less.bottom});
            host::printer(printer).output.clear();
            start_page();
            EXPECT_TRUE(device->stroke(path, &clip, nullptr, black, line));
            end_page_and_document();
            const bool cut = less.left || less.right || less.bottom;
            EXPECT_EQ(page_records()[0], cut ? 12 : 39) << c.width << " " << c.join << " " << c.cap << " " << less.left;
        }
    }
}

TEST_F(ClipTest, ReplacesRectangleListsByContent) {
    start_page();
    BYTE two[] = {2, 0, 0, 0, 1, 0, 1, 0, 5, 0, 5, 0, 6, 0, 6, 0, 9, 0, 9, 0};
    const PathView list = {{PathKind::Rects16, sizeof two, 7}, two};
    EXPECT_TRUE(SetCurrentClip(pdevice(), list));
    PathView same = list;
    same.head.identity = 0;  // who it came from does not count
    EXPECT_TRUE(SetCurrentClip(pdevice(), same));
    EXPECT_EQ(pdevice().statistics.largest_clip_rects, 2u);
    EXPECT_TRUE(ResetClip(pdevice()) && ResetClip(pdevice()));
    EXPECT_EQ(records(), hex("0C 10 0100 0100 0500 0500 0600 0600 0900 0900 0A 00"));
}

}  // namespace
}  // namespace kv::test
