// The path escapes: the paths that they capture, save, clip with and draw.

#include "tests/driver/escape_fixture.h"

namespace kv::test {
namespace {

using engine::Brush;
using engine::Clip;
using engine::Path;

// Of a pen and a brush, the job's records behind the page start.
TEST_F(EscapeTest, DrawTheCapturedPath) {
    const Pen pen = {PS_SOLID, 3, 0xFF112233}, dash = {1, 0, 0}, inside_frame = {6, 300, 0x112233};
    const Fill red = {BS_SOLID, 0x0000FF, 99}, cross = {BS_HATCHED, 0x0000FF, 4};
    const std::tuple<int, int, Pen, Fill, ULONG, std::string> cases[] = {
        {2, 1, pen, kNoFill, 1, "27 0B F208 33221140 0D 03 00 01 00  22" + body("0F")},
        {1, 1, pen, kNoFill, 1, "27 0B F208 33221140 0D 03 00 01 00  22" + body("07")},
        {2, 2, inside_frame, kNoFill, 1, "27 0C D218 2C01 33221140 0D 00 02 00  22" + body("0F")},
        {1, 2, kNoPen, red, 1, "27 08 0E00 FF000040 0D 02  23" + body("07")},
        {2, 7, dash, cross, 1,
         "07 14 12000020 02000000 FF000000 04000000 FFFFFF00"
         "27 10 FE08 04000080 0D 01 03 12000020 0D 02 00  24" +
             body("0F")},
        {2, 1, kNoPen, {BS_HATCHED, 0x0000FF, 6}, 1, "27 08 0E00 FF000040 0D 01  23" + body("0F")},
        {2, 1, pen, {BS_PATTERN, 0, 0x12345678}, 1, "27 0B F208 33221140 0D 03 00 01 00  22" + body("0F")},
        {2, 1, kNoPen, kNoFill, 1, ""},
        {2, 1, {PS_SOLID, 1, 0xFFFFFF}, kNoFill, 1, ""},  // white on a blank page
        {0, 1, pen, red, 1, ""},
        {3, 1, pen, red, 0, ""},
        {-1, 1, pen, red, 0, ""},
    };
    for (const auto& [draws, fill_mode, its_pen, fill, result, records] : cases) {
        SCOPED_TRACE(records);
        start_page();
        capture();
        EXPECT_EQ(escape(END_PATH, path_info(draws, fill_mode, its_pen, fill)), result);
        EXPECT_FALSE(pdevice().captured);
        const RECTL marks = pdevice().page_marks;
        const RECTL expected = records.empty() ? kEmptyRect : RECTL{10, 10, 20, 30};
        EXPECT_TRUE(marks.left == expected.left && marks.top == expected.top && marks.right == expected.right &&
                    marks.bottom == expected.bottom);
        EXPECT_EQ(pdevice().statistics.largest_entry, 3u);
        expect_page(records);
        host::printer(printer).output.clear();
    }
}

TEST_F(EscapeTest, DrawAndClipWithWideCoordinates) {
    auto with_flags = [](const std::string& flags) {
        return "1C 00 01" + flags + "03 409C0000 0A000000 4A9C0000 0A000000 4A9C0000 1E000000";
    };
    start_page();
    capture(40000);
    EXPECT_EQ(escape(END_PATH, path_info(2, 1, {PS_SOLID, 3, 0x112233}, kNoFill)), 1u);
    capture(40000);
    EXPECT_EQ(escape(CLIP_TO_PATH, dword(2)), 1u);
    EXPECT_EQ(escape(END_PATH, path_info(2, 1, {PS_SOLID, 3, 0x112233}, kNoFill)), 0u) << "the path is used up";
    EXPECT_FALSE(pdevice().captured);
    expect_page("27 0B F208 33221140 0D 03 00 01 00  2F" + with_flags("0F") + "2E" + with_flags("07"));
}

TEST_F(EscapeTest, ClipWithTheCapturedPathOnce) {
    start_page();
    EXPECT_EQ(escape(CLIP_TO_PATH, dword(2)), 1u);  // nothing captured, no clip
    capture();
    EXPECT_EQ(escape(CLIP_TO_PATH, dword(2)), 1u);
    EXPECT_EQ(escape(CLIP_TO_PATH, dword(2)), 1u);  // used up: clips nothing
    EXPECT_EQ(escape(CLIP_TO_PATH, dword(2)), 1u);
    EXPECT_EQ(escape(END_PATH), 0u);
    capture();
    EXPECT_EQ(escape(END_PATH), 0u);
    Corner corner;
    EXPECT_TRUE(stroke(corner));  // the path takes the place of a clip
    Clip rect = Clip::rectangle({0, 0, 15, 15});
    EXPECT_TRUE(stroke(corner, &rect));  // a clip of the engine's ends it
    EXPECT_FALSE(pdevice().captured);
    const std::string clip = "21" + body("07"), drawn = "22" + body("07");
    const std::string state = "27 0A F008 04000080 0D 01 00 00";
    expect_page(clip + "0A 00" + clip + state + drawn + "0C 08 0000 0000 0F00 0F00" + drawn);
}

// A path is drawn under the clip of the call that described it, unless a captured path is the clip.
TEST_F(EscapeTest, DrawUnderTheClipOfTheCapturedCall) {
    const Bytes info = path_info(1, 1, {PS_SOLID, 1, 0}, kNoFill);
    const std::string state = "27 0A F008 04000080 0D 01 00 00", set_up = "27 03 0200 01", drawn = "22" + body("07"),
                      rect = "0C 08 0000 0000 0F00 0F00", other = "0C 08 0000 0000 0C00 0C00";
    const struct {
        const char* name;
        bool clipped;  // the captured call
        int before;    // 1 a drawing under another clip, 2 a captured path becomes the clip, 3 both
        std::string records;
    } kCases[] = {
        {"its own clip", true, 0, rect + state + "27 03 0200 01" + drawn},
        {"another clip before", true, 1, other + state + drawn + rect + set_up + drawn},
        {"none after another", false, 1, other + state + drawn + "0A 00" + set_up + drawn},
        {"a captured path", true, 2, "21" + body("07") + state + set_up + drawn},
        {"a captured path, and a clip after it", true, 3,
         "21" + body("07") + other + state + drawn + rect + set_up + drawn},
    };
    for (const auto& c : kCases) {
        Clip clip = Clip::rectangle({0, 0, 15, 15}), else_where = Clip::rectangle({0, 0, 12, 12});
        Corner corner;
        host::printer(printer).output.clear();
        start_page();
        if (c.before & 2) {
            capture();
            EXPECT_EQ(escape(CLIP_TO_PATH, dword(2)), 1u);
            EXPECT_EQ(escape(END_PATH), 0u);
        }
        if (c.before & 1) {
            EXPECT_TRUE(stroke(corner, &else_where));
        }
        EXPECT_EQ(escape(BEGIN_PATH), 1u);
        EXPECT_TRUE(stroke(corner, c.clipped ? &clip : nullptr));
        EXPECT_EQ(escape(END_PATH, info), 1u);
        SCOPED_TRACE(c.name);
        end_page_and_document();
        EXPECT_EQ(faults_of(job()), "");
        std::string records = to_hex(page_records());
        // Without a line before it, the state comes in one record.
        const std::string both = to_hex(from_hex(state + set_up)),
                          one = to_hex(from_hex("27 0B F208 04000080 0D 01 00 01 00"));
        if (const size_t found = records.find(one); found != std::string::npos)
            records.replace(found, one.size(), both);
        EXPECT_EQ(records, to_hex(from_hex(c.records)));
    }
}

// A captured path that was the clip of one page says nothing of the next one's.
TEST_F(EscapeTest, DrawEachUnderItsOwnClipOnLaterPages) {
    start_page();
    capture();
    EXPECT_EQ(escape(CLIP_TO_PATH, dword(2)), 1u);
    EXPECT_EQ(escape(END_PATH), 0u);
    ASSERT_TRUE(device->send_page() && device->start_page());
    for (const LONG edge : {15, 12}) {
        Clip clip = Clip::rectangle({0, 0, edge, edge});
        Corner corner;
        EXPECT_EQ(escape(BEGIN_PATH), 1u);
        EXPECT_TRUE(stroke(corner, &clip));
        EXPECT_EQ(escape(END_PATH, path_info(1, 1, {PS_SOLID, 1, 0}, kNoFill)), 1u);
    }
    end_page_and_document();
    const std::string drawn = "22" + body("07");
    EXPECT_NE(to_hex(job()).find(to_hex(from_hex(drawn + "0C 08 0000 0000 0C00 0C00" + drawn))), std::string::npos);
}

// The close flag is that of the last figure.
TEST_F(EscapeTest, CloseTheLastOfTwoFigures) {
    for (const bool wide : {false, true}) {
        Path two;
        for (LONG x : {10, wide ? 40000 : 50}) {
            two.move_to(at(x, 10));
            two.line_to(at(x + 10, 10));
            two.line_to(at(x + 10, 30));
        }
        host::printer(printer).output.clear();
        start_page();
        EXPECT_EQ(escape(BEGIN_PATH), 1u);
        EXPECT_TRUE(stroke(two));
        EXPECT_EQ(escape(END_PATH, path_info(2, 1, {PS_SOLID, 3, 0x112233}, kNoFill)), 1u);
        expect_page("27 0B F208 33221140 0D 03 00 01 00" +
                    std::string(wide ? "2F 36 00 02 07 03 0A000000 0A000000 14000000 0A000000 14000000 1E000000"
                                       "0F 03 409C0000 0A000000 4A9C0000 0A000000 4A9C0000 1E000000"
                                     : "22 1E 00 02 07 03 0A00 0A00 1400 0A00 1400 1E00"
                                       "0F 03 3200 0A00 3C00 0A00 3C00 1E00"));
    }
}

TEST_F(EscapeTest, SaveAndRestoreClipPaths) {
    start_page();
    EXPECT_EQ(escape(CLIP_TO_PATH, dword(1)), 0u);
    EXPECT_EQ(escape(CLIP_TO_PATH, dword(0)), 1u);  // saves that there is none
    capture();
    EXPECT_EQ(escape(CLIP_TO_PATH, dword(0)), 1u);
    capture(50);
    EXPECT_EQ(pdevice().captured->metrics().bounds.left, 50);
    EXPECT_EQ(escape(CLIP_TO_PATH, dword(1)), 1u);
    EXPECT_EQ(pdevice().captured->metrics().bounds.left, 10);
    EXPECT_EQ(escape(CLIP_TO_PATH, dword(2)), 1u);
    EXPECT_EQ(escape(CLIP_TO_PATH, dword(1)), 1u);
    EXPECT_FALSE(pdevice().captured);
    EXPECT_EQ(escape(CLIP_TO_PATH, dword(1)), 0u);
    for (int other : {3, 9}) EXPECT_EQ(escape(CLIP_TO_PATH, dword(other)), 0u);
    EXPECT_EQ(escape(CLIP_TO_PATH, {2, 0, 0}), 0u);
    capture(70);
    for (int i = 0; i < 8; ++i) EXPECT_EQ(escape(CLIP_TO_PATH, dword(0)), 1u);
    EXPECT_EQ(escape(CLIP_TO_PATH, dword(0)), 0u);
    // Drawing the path frees it for the device; what is saved stays.
    EXPECT_EQ(escape(END_PATH, path_info(0, 1, kNoPen, kNoFill)), 1u);
    EXPECT_EQ(escape(CLIP_TO_PATH, dword(1)), 1u);
    EXPECT_EQ(pdevice().captured->metrics().bounds.left, 70);
    expect_page("21" + body("07"));
}

TEST_F(EscapeTest, CountTheirNesting) {
    const Bytes info = path_info(1, 1, {PS_SOLID, 1, 0}, kNoFill);
    const std::string drawn = "22" + body("07"), state = "27 0B F208 04000080 0D 01 00 01 00";
    Corner corner;
    start_page();
    EXPECT_EQ(escape(END_PATH, info), 0u);  // an end without a beginning counts for nothing
    EXPECT_TRUE(stroke(corner));
    EXPECT_EQ(escape(BEGIN_PATH), 1u);
    capture();
    EXPECT_EQ(escape(END_PATH, Bytes(info.begin(), info.end() - 1)), 0u);  // too short: ends, but draws nothing
    EXPECT_TRUE(stroke(corner));
    EXPECT_EQ(escape(END_PATH, info), 1u);
    EXPECT_TRUE(stroke(corner));
    expect_page("27 0A F008 04000080 0D 01 00 00" + drawn + "27 03 0200 01" + drawn + drawn);
}

TEST_F(EscapeTest, CaptureNothingWhereTheyAreTurnedOff) {
    set(u"PathEscapes", 0);
    start_page();
    for (int code : {BEGIN_PATH, CLIP_TO_PATH, END_PATH}) {
        EXPECT_EQ(escape(QUERYESCSUPPORT, dword(code)), 0u);
        EXPECT_EQ(escape(code, path_info(1, 1, {PS_SOLID, 1, 0}, kNoFill)), 0u);
    }
    Corner corner;
    EXPECT_TRUE(stroke(corner));
    expect_page("27 0A F008 04000080 0D 01 00 00 22" + body("07"));
}

// The size tells the layout; whatever follows the shorter one is not looked at.
TEST_F(EscapeTest, ReadABrushWhereTheApplicationPutsIt) {
    const Fill cross = {BS_HATCHED, 0x0000FF, 4}, red = {BS_SOLID, 0x0000FF, 0};
    const std::string state = "27 08 0E00 12000020 0D 01  23" + body("07"), own = "27 08 0E00 FF000040 0D 01  23";
    const std::string hatch = "07 14 12000020 02000000 FF000000 04000000 FFFFFF00" + state;
    auto of_size = [](Bytes info, size_t size) {
        info.resize(size, 0xEE);
        return info;
    };
    const std::pair<Bytes, std::string> cases[] = {
        {path_info(1, 1, kNoPen, cross, true), hatch},
        {of_size(path_info(1, 1, kNoPen, cross, true), 64), hatch},
        {path_info(1, 1, kNoPen, cross), hatch},
        {of_size(path_info(1, 1, kNoPen, red), 39), own + body("07")},
    };
    for (const auto& [info, records] : cases) {
        SCOPED_TRACE(info.size());
        start_page();
        capture();
        EXPECT_EQ(escape(END_PATH, info), 1u);
        expect_page(records);
        host::printer(printer).output.clear();
    }
}

// Drawn in two records, of which only the last closes its figure. A clip of two would be the second one alone: none.
TEST_F(EscapeTest, SplitWhatNoRecordHolds) {
    constexpr int kFigures = 70000, kMost = 65535;
    Path figures;
    for (int i = 0; i < kFigures; ++i) {
        figures.move_to(at(i % 800, 1));
        figures.line_to(at(i % 800, 9));
    }
    start_page();
    for (bool clips : {true, false}) {
        EXPECT_EQ(escape(BEGIN_PATH), 1u);
        EXPECT_TRUE(stroke(figures));
        EXPECT_EQ(clips ? escape(CLIP_TO_PATH, dword(2)) : 1u, 1u);
        EXPECT_EQ(escape(END_PATH, path_info(2, 1, {PS_SOLID, 1, 0}, kNoFill)), clips ? 0u : 1u);
    }
    end_page_and_document();
    EXPECT_EQ(faults_of(job()), "");
    const auto records = split_records(page_records());
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records[0].type, 39);
    for (size_t part : {1u, 2u}) {
        const Bytes& data = records[part].body;
        EXPECT_EQ(records[part].type, 34);
        EXPECT_EQ(data.size(), 4u + 10 * (part == 1 ? kMost : kFigures - kMost));
        EXPECT_EQ(data[data.size() - 10], part == 1 ? 0x07 : 0x0F);
    }
}

// What captures is left open, or no escape can end it any more.
TEST_F(EscapeTest, CaptureNothingForOthers) {
    Corner corner;
    for (bool next_document : {true, false}) {
        SCOPED_TRACE(next_document);
        start_page();
        EXPECT_EQ(escape(BEGIN_PATH), 1u);
        capture();
        EXPECT_EQ(escape(CLIP_TO_PATH, dword(0)), 1u);
        if (next_document) {
            EXPECT_TRUE(device->end_document(ED_ABORTDOC));
            start_page();
        } else {
            EXPECT_TRUE(device->send_page());
            set(u"PathEscapes", 0);
            EXPECT_TRUE(device->reset(mode_of(0)) && device->start_page());
        }
        EXPECT_EQ(escape(CLIP_TO_PATH, dword(1)), 0u) << "nothing is saved";
        EXPECT_TRUE(stroke(corner));
        const RECTL& marks = pdevice().page_marks;
        EXPECT_TRUE(marks.left == 10 && marks.bottom == 30) << "drawn, not captured";
        EXPECT_EQ(pdevice().current_clip.head().kind, PathKind::Empty);
        end_page_and_document();
        EXPECT_EQ(faults_of(job()), "");
        host::printer(printer).output.clear();
    }
}

// Paths outlive pages, but records have their place in one.
TEST_F(EscapeTest, WriteNothingOutsidePages) {
    start_page();
    capture();
    ASSERT_TRUE(device->send_page());
    EXPECT_EQ(escape(CLIP_TO_PATH, dword(2)), 0u);
    EXPECT_TRUE(pdevice().captured);
    EXPECT_EQ(escape(CLIP_TO_PATH, dword(0)), 1u);
    EXPECT_EQ(escape(END_PATH, path_info(1, 1, {PS_SOLID, 1, 0}, kNoFill)), 0u);
    EXPECT_FALSE(pdevice().captured);
    EXPECT_EQ(escape(CLIP_TO_PATH, dword(2)), 1u);
    EXPECT_EQ(escape(CLIP_TO_PATH, dword(1)), 1u);
    EXPECT_EQ(escape(END_PATH, path_info(1, 1, kNoPen, kNoFill)), 1u) << "nothing was to be drawn";
    EXPECT_TRUE(device->end_document());
    EXPECT_EQ(to_hex(page_records()), "");
    EXPECT_EQ(faults_of(job()), "");
}

TEST_F(EscapeTest, CaptureWithoutTouchingTheJob) {
    start_page();
    const DWORD position = pdevice().position;
    Path rect, dot;
    rect.add_rect({10, 10, 20, 20});
    dot.add_rect({5, 5, 5, 5});
    Brush hatch = Brush::hatched(2, 0, 0xFFFFFF);
    EXPECT_EQ(escape(BEGIN_PATH), 1u);
    EXPECT_TRUE(device->fill(rect, nullptr, hatch, FP_WINDINGMODE));
    EXPECT_TRUE(device->fill(dot, nullptr, hatch, FP_WINDINGMODE, R2_NOP));  // collapses: the last path stays
    EXPECT_EQ(pdevice().position, position);
    EXPECT_EQ(pdevice().captured->metrics().bounds.right, 20);
    EXPECT_EQ(escape(END_PATH), 0u);
    end_page_and_document();
}

}  // namespace
}  // namespace kv::test
