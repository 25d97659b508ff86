// Paths: how they are encoded, which of them are recorded, and the ink that they leave.

#include "reader/bodies.h"
#include "record/path_recorder.h"
#include "tests/common/fault_test.h"

namespace kv::test {
namespace {

using engine::Brush;
using engine::Clip;
using engine::Path;

// The state before black fills and hairlines, and a square of closed points (0, 0) to (9, 9) with its record's body.
const char* kFillState = "27 08 0E00 04000080 0D 02 ";
const char* kStrokeState = "27 0A F008 04000080 0D 01 00 00 ";
const char* kSquare = "14 00 01 0F 04 0000 0000 0900 0000 0900 0900 0000 0900 ";

struct PathTest : PrintTest {
    BOOL fill(Path& path, ULONG colour = 0, MIX mix = R2_COPYPEN) {
        Brush brush = Brush::solid(colour);
        return device->fill(path, nullptr, brush, FP_WINDINGMODE, mix);
    }
    // The page's records when draw() has drawn on it.
    template <class Draw>
    std::string drawn(Draw draw) {
        host::printer(printer).output.clear();
        start_page();
        draw();
        end_page_and_document();
        EXPECT_EQ(faults_of(job()), "");
        return to_hex(page_records());
    }
    std::string filled(Path& path) {
        return drawn([&] { EXPECT_TRUE(fill(path)); });
    }
};

struct Square : Path {
    Square() { add_rect({0, 0, 9, 9}); }
};
// Lines through points in pixels.
struct Lines : Path {
    Lines(std::initializer_list<std::pair<double, double>> points) {
        bool first = true;
        for (auto [x, y] : points) {
            first ? move_to(at(x, y)) : line_to(at(x, y));
            first = false;
        }
    }
};

std::string hex(const std::string& text) { return to_hex(from_hex(text)); }

TEST_F(PathTest, SimplifiesPolylines) {
    struct {
        std::initializer_list<std::pair<double, double>> points;
        const char* record;  // empty: the figure collapses
    } cases[] = {
        {{{0, 0}, {10, 0}, {20, 0}, {20, 10}}, "23 10 00 01 07 03 0000 0000 1400 0000 1400 0A00"},
        {{{0, 0}, {10, 0}, {10, 10}, {10, 20}}, "23 14 00 01 07 04 0000 0000 0A00 0000 0A00 0A00 0A00 1400"},
        {{{0, 0}, {0, 5}, {0, 9}, {3, 9}}, "23 10 00 01 07 03 0000 0000 0000 0900 0300 0900"},
        {{{0, 0}, {10, 0}, {5, 0}}, "23 10 00 01 07 03 0000 0000 0A00 0000 0500 0000"},  // back again
        {{{0, 0}, {0.9, 0.5}, {3, 4}, {3.5, 4}, {9, 1}}, "23 10 00 01 07 03 0000 0000 0300 0400 0900 0100"},
        {{{3, 3}, {3.5, 3.9}}, "23 0C 00 01 07 02 0300 0300 0300 0300"},  // two points stay
        {{{5, 5}, {5.5, 5.25}, {5.75, 5}}, ""},
        {{{-0.5, -1.25}, {-16, -16.0625}, {40, 3}}, "23 10 00 01 07 03 FFFF FEFF F0FF EFFF 2800 0300"},
    };
    for (const auto& test : cases) {
        Lines path(test.points);
        EXPECT_EQ(filled(path), hex(std::string(kFillState) + test.record)) << test.record;
    }
}

TEST_F(PathTest, KeepsCurvesAsTheyAre) {
    Path path;
    path.move_to(at(1, 1));
    path.curve_to(at(1, 1), at(1, 1), at(2, 0));
    path.line_to(at(9, 0));
    EXPECT_EQ(filled(path), hex(std::string(kFillState) +
                                "23 1A 01 02 15 04 0100 0100 0100 0100 0100 0100 0200 0000 02 01 0900 0000"));
}

TEST_F(PathTest, TakesWideCoordinatesWhereTheyAreNeeded) {
    Lines narrow({{-32768, 0}, {32767, 3}}), wide({{0, 0}, {32768, 3}}), low({{0, -32769}, {5, 3}});
    EXPECT_EQ(filled(narrow), hex(std::string(kFillState) + "23 0C 00 01 07 02 0080 0000 FF7F 0300"));
    EXPECT_EQ(filled(wide), hex(std::string(kFillState) + "30 14 00 01 07 02 00000000 00000000 00800000 03000000"));
    EXPECT_EQ(filled(low), hex(std::string(kFillState) + "30 14 00 01 07 02 00000000 FF7FFFFF 05000000 03000000"));
}

TEST_F(PathTest, CountsPointsAndEntries) {
    struct {
        int points;
        const char* head;
    } lengths[] = {{253, "23 FE F803 00 01 07 FD"}, {254, "23 FE FE03 00 01 07 FE FE00"}};
    for (const auto& test : lengths) {
        Path zigzag;
        zigzag.move_to(at(0, 0));
        for (int i = 1; i < test.points; ++i) zigzag.line_to(at(i, i % 2 ? 40 : i % 7));
        const std::string records = filled(zigzag), head = hex(std::string(kFillState) + test.head);
        EXPECT_EQ(records.substr(0, head.size()), head);
    }
    struct {
        int figures;
        const char *head, *entry;
    } counts[] = {{253, "23 FE E409 00 FD", "07 02 0000 0000 0100 0200"},
                  {254, "23 FE F009 00 FE FE00", "07 02 0000 0000 0100 0200"},
                  {300, "23 FE BC0B 00 FE 2C01", "07 02 0000 0000 0100 0200"}};
    for (const auto& test : counts) {
        Path path;
        for (int i = 0; i < test.figures; ++i) path.move_to(at(0, 0)), path.line_to(at(1, 2));
        std::string expected = hex(std::string(kFillState) + test.head);
        for (int i = 0; i < test.figures; ++i) expected += hex(test.entry);
        EXPECT_EQ(filled(path), expected);
    }
}

TEST_F(PathTest, MakesAnEntryOfEveryBlock) {
    Square path;
    path.set_block_size(2);
    EXPECT_EQ(filled(path),
              hex(std::string(kFillState) + "23 16 00 02 05 02 0000 0000 0900 0000 0A 02 0900 0900 0000 0900"));
}

// A count of entries holds 65535: figures that the engine gives in more pieces are put together, and lines of more
// figures go out in several records.
TEST_F(PathTest, LinesOfVeryManyEntries) {
    Path many, one;
    for (int i = 0; i < 65535; ++i) many.move_to(at(0, 0)), many.line_to(at(1, 2));
    many.set_block_size(2);
    many.move_to(at(0, 0));
    for (int i = 1; i < 6; ++i) many.line_to(at(i, i % 2 ? 9 : 0));
    one.set_block_size(1);
    one.move_to(at(0, 0));
    for (int i = 1; i < 65537; ++i) one.line_to(at(i % 800, i % 2 ? 9 : 0));
    Brush black = Brush::solid(0);
    const std::string state = kStrokeState;
    const struct {
        Path& path;
        std::string head, tail;
        size_t size;  // bytes of the records
    } kCases[] = {
        {many, state + "22 FF 00 FAFF0900 00 FE FFFF 07 02 0000 0000 0100 0200",
         "22 1C 00 01 07 06 0000 0000 0100 0900 0200 0000 0300 0900 0400 0000 0500 0900", 12 + 7 + 4 + 655350 + 30},
        {one, state + "22 FF 00 0C000400 00 02 05 FE FFFF 0000 0000 0100 0900", "02 02 DF02 0900 E002 0000",
         12 + 7 + 2 + 4 + 65535 * 4 + 10},
    };
    for (const auto& c : kCases) {
        const std::string records =
            drawn([&] { EXPECT_TRUE(device->stroke(c.path, nullptr, nullptr, black, hairline())); });
        const std::string head = hex(c.head), tail = hex(c.tail);
        ASSERT_EQ(records.size(), c.size * 3);
        EXPECT_EQ(records.substr(0, head.size()), head);
        EXPECT_EQ(records.substr(records.size() - tail.size()), tail);
    }
}

// How often a path's figures, all closed, run round a point to the right of which the edges lie. Curves are lines here.
int winding(const Bytes& body, bool wide, double x, double y) {
    int count = 0;
    std::array<int32_t, 2> start = {}, last = {};
    auto edge = [&](const std::array<int32_t, 2>& to) {
        if ((last[1] > y) != (to[1] > y)) {
            const double cut = last[0] + (y - last[1]) * (to[0] - last[0]) / (to[1] - last[1]);
            if (cut > x) count += to[1] > last[1] ? 1 : -1;
        }
        last = to;
    };
    kvjob::read_path(kvjob::Bytes(body), wide, [&](const kvjob::PathEntry& entry) {
        size_t at = 0;
        if (entry.flags & PD_BEGINSUBPATH) {
            edge(start);
            start = last = entry.points[at++];
        }
        const bool curves = entry.flags & PD_BEZIERS;
        for (at += curves ? 2 : 0; at < entry.points.size(); at += curves ? 3 : 1) edge(entry.points[at]);
    });
    edge(start);
    return count;
}

// An area is never cut, so that holes stay holes; all of its figures become one.
TEST_F(PathTest, AreasOfVeryManyEntries) {
    constexpr int kFigures = 33000;  // squares of 6 pixels, and as many holes of 2
    Brush black = Brush::solid(0);
    for (const bool curve : {false, true}) {
        Path path;
        std::vector<RECTL> rects;
        for (int hole : {0, 1}) {
            for (int i = 0; i < kFigures; ++i) {
                const LONG x = i % 100 * 8, y = i / 100 * 8;
                path.add_rect(hole ? RECTL{x + 2, y + 2, x + 4, y + 4} : RECTL{x, y, x + 6, y + 6});
            }
        }
        if (curve) {
            path.move_to(at(900, 0));
            path.curve_to(at(900, 0), at(900, 90), at(900, 90));
            path.line_to(at(950, 0));
        }
        host::printer(printer).output.clear();
        start_page();
        EXPECT_TRUE(device->stroke_and_fill(path, nullptr, nullptr, black, hairline(), black, FP_ALTERNATEMODE));
        end_page_and_document();
        EXPECT_EQ(faults_of(job()), "");
        const std::vector<Record> records = split_records(page_records());
        ASSERT_EQ(records.size(), 4u);  // state, area, lines in two parts
        EXPECT_EQ(records[1].type, 35);
        EXPECT_EQ(records[2].type, 34);
        EXPECT_EQ(records[3].type, 34);
        const Bytes& area = records[1].body;
        for (const int i : {0, 99, 100, 16789, kFigures - 1}) {
            const double x = i % 100 * 8, y = i / 100 * 8;
            EXPECT_EQ(std::abs(winding(area, false, x + 1, y + 0.5)), 1) << i;
            EXPECT_EQ(winding(area, false, x + 3.1, y + 3.5) % 2, 0) << i;
            EXPECT_EQ(winding(area, false, x + 7.1, y + 7.5), 0) << i;
        }
        EXPECT_EQ(std::abs(winding(area, false, 910.5, 20.5)), curve ? 1 : 0);
    }
    // So is a clip.
    std::vector<RECTL> rects;
    for (LONG i = 0; i < 65536; ++i) rects.push_back({i % 200 * 4, i / 200 * 4, i % 200 * 4 + 2, i / 200 * 4 + 2});
    Clip region = Clip::region(std::move(rects));
    Square square;
    host::printer(printer).output.clear();
    start_page();
    EXPECT_TRUE(device->fill(square, &region, black, FP_WINDINGMODE));
    end_page_and_document();
    EXPECT_EQ(faults_of(job()), "");
    const std::vector<Record> records = split_records(page_records());
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records[0].type, 33);
    EXPECT_EQ(std::abs(winding(records[0].body, false, 401, 400.5)), 1);
    EXPECT_EQ(winding(records[0].body, false, 403, 400.5), 0);
}

TEST_F(PathTest, DropsWhatCannotChangeThePage) {
    Square square;
    Brush black = Brush::solid(0), white = Brush::solid(0xFFFFFF), grey = Brush::solid(0x808080);
    FLOAT_LONG all_gap[2] = {};
    all_gap[1].l = 8;
    LINEATTRS invisible = hairline();
    invisible.pstyle = all_gap;
    invisible.cstyle = 2;
    const std::string fill_state = kFillState;
    const std::string both_state = "27 10 FE08 04000080 0D 01 00 04000080 0D 02 00";
    auto both = [&](Brush& stroke, const LINEATTRS& line, Brush& inside, MIX mix) {
        return drawn([&] {
            EXPECT_TRUE(device->stroke_and_fill(square, nullptr, nullptr, stroke, line, inside, FP_WINDINGMODE, mix));
        });
    };
    auto filled_with = [&](ULONG colour, MIX mix) { return drawn([&] { EXPECT_TRUE(fill(square, colour, mix)); }); };
    EXPECT_EQ(filled_with(0, R2_NOP), "");
    EXPECT_EQ(filled_with(0, R2_MERGEPEN), "");        // black OR destination
    EXPECT_EQ(filled_with(0xFFFFFF, R2_MASKPEN), "");  // white AND destination
    EXPECT_EQ(filled_with(0, R2_XORPEN), "");          // black XOR destination
    EXPECT_EQ(filled_with(0xFFFFFF, R2_COPYPEN), "");  // white on a blank page
    EXPECT_EQ(filled_with(0, R2_NOTCOPYPEN), "");      // not black
    EXPECT_EQ(filled_with(0x808080, R2_WHITE), "");
    EXPECT_EQ(filled_with(0, R2_COPYPEN), hex(fill_state + "23" + kSquare));
    EXPECT_EQ(both(white, hairline(), white, R2_COPYPEN), "");
    EXPECT_EQ(both(black, hairline(), black, R2_NOP), "");
    EXPECT_EQ(both(black, hairline(), black, R2_COPYPEN), hex(both_state + "24" + kSquare));
    // The stroke that shows nothing leaves the fill, and the fill the stroke; their attributes are told all the same.
    EXPECT_EQ(both(black, invisible, black, R2_COPYPEN).substr(54), hex("23" + std::string(kSquare)));
    EXPECT_EQ(both(black, hairline(), white, R2_MASKPEN).substr(54), hex("22" + std::string(kSquare)));
    EXPECT_EQ(both(black, invisible, white, R2_MASKPEN), "");
    EXPECT_EQ(drawn([&] {
                  EXPECT_TRUE(device->stroke(square, nullptr, nullptr, black, invisible));
                  EXPECT_TRUE(device->stroke(square, nullptr, nullptr, black, hairline(), R2_NOP));
              }),
              "");
    // White counts once anything was drawn.
    EXPECT_EQ(drawn([&] {
                  EXPECT_TRUE(fill(square));
                  EXPECT_TRUE(fill(square, 0xFFFFFF));
              }),
              hex(fill_state + "23" + kSquare + "27 06 0800 00000080 23" + kSquare));
}

TEST_F(PathTest, TellsAlternateFromWinding) {
    Square square;
    Brush black = Brush::solid(0);
    EXPECT_EQ(drawn([&] { EXPECT_TRUE(device->fill(square, nullptr, black, FP_ALTERNATEMODE)); }),
              hex("27 08 0E00 04000080 0D 01 23" + std::string(kSquare)));
    EXPECT_EQ(drawn([&] { EXPECT_TRUE(device->stroke(square, nullptr, nullptr, black, hairline(), 0x0B0D)); }),
              hex(kStrokeState + std::string("22") + kSquare));  // the mix of the background is not looked at
}

TEST_F(PathTest, KeepsTheInkOfThePage) {
    struct {
        std::initializer_list<std::pair<double, double>> points;
        RECTL ink;
    } cases[] = {
        {{{10, 10}, {10, 30}}, {10, 10, 11, 30}},  // a vertical hairline is a pixel wide
        {{{10, 10}, {40, 10}}, {10, 10, 40, 11}},      {{{10.5, 10}, {20.75, 30.9}}, {10, 10, 20, 30}},
        {{{-50, -50}, {2000, 300}}, {0, 0, 850, 300}},  // as far as the surface goes
        {{{900, 10}, {950, 20}}, kEmptyRect},
    };
    for (const auto& test : cases) {
        Lines path(test.points);
        start_page();
        EXPECT_TRUE(fill(path));
        EXPECT_TRUE(same_rect(pdevice().page_marks, test.ink));
        end_page_and_document();
    }
    start_page();
    AddInk(pdevice(), {30, 40, 20, 10});  // normalised
    AddInk(pdevice(), {5, 5, 5, 90});     // empty
    EXPECT_TRUE(same_rect(pdevice().page_marks, (RECTL{20, 10, 30, 40})));
    AddInk(pdevice(), {0, 0, 1, 1});
    EXPECT_TRUE(same_rect(pdevice().page_marks, (RECTL{0, 0, 30, 40})));
    end_page_and_document();
}

}  // namespace
}  // namespace kv::test
