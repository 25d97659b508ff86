#include "printhost/cff_writer.h"

#include <gtest/gtest.h>

namespace kvprint {
namespace {

constexpr OutlineStep move(int x, int y) { return {OutlineStep::Move, {}, {}, {x, y}}; }
constexpr OutlineStep line(int x, int y) { return {OutlineStep::Line, {}, {}, {x, y}}; }
constexpr OutlineStep curve(DesignPoint a, DesignPoint b, DesignPoint end) { return {OutlineStep::Curve, a, b, end}; }

// A number n of up to 107 is the byte 139 + n, others up to 1131 take two bytes, the rest 28 and two more.
TEST(Charstring, EachStepTakesItsShortestOperator) {
    const struct {
        Outline outline;
        std::optional<int> width;
        FontBytes expected;
    } cases[] = {
        {{}, std::nullopt, {14}},
        {{}, -107, {32, 14}},
        {{move(10, 0), line(110, 0), line(110, 107), line(3, 107)},
         std::nullopt,
         {149, 22, 239, 246, 32, 6, 14}},  // hmoveto, hlineto in turns
        {{move(0, 108), line(0, 1239), line(5, 1233)},
         1132,
         {28, 4, 108, 247, 0, 4, 250, 255, 7, 144, 133, 5, 14}},  // width, vmoveto, vlineto, rlineto
        {{move(1, 2), curve({11, 2}, {13, 5}, {13, 9}), curve({13, 10}, {12, 12}, {2, 12})},
         std::nullopt,
         {140, 141, 21, 149, 141, 142, 143, 140, 138, 141, 129, 31, 14}},  // hvcurveto, flat and upright in turns
        {{move(1, 2), curve({11, 2}, {13, 5}, {20, 5}), curve({21, 6}, {22, 8}, {30, 9})},
         std::nullopt,
         {140, 141, 21, 149, 141, 142, 146, 27, 140, 140, 140, 141, 147, 140, 8, 14}},  // hhcurveto, rrcurveto
        {{move(0, -1132), line(0, -1132), line(1, -1131)},
         std::nullopt,
         {28, 251, 148, 4, 140, 140, 5, 14}},  // a line to where it starts is none
    };
    for (const auto& test : cases) {
        EXPECT_EQ(charstring_of(test.outline, test.width), test.expected) << &test - cases;
    }
}

// At most 48 numbers stand before an operator.
TEST(Charstring, LongRunsAreSeveral) {
    Outline outline = {move(0, 0)};
    for (int i = 1; i <= 30; ++i) outline.push_back(line(i, 2 * i));
    const FontBytes made = charstring_of(outline, std::nullopt);
    ASSERT_EQ(made.size(), 2u + 60 + 2 + 1);
    EXPECT_EQ(made[2 + 48], 5);
    EXPECT_EQ(made[2 + 48 + 1 + 12], 5);
}

TEST(CffWriter, TheTableIsWhatTheFormatSays) {
    const CffFont font = {
        "Tag+F", 2048, {{".notdef", 0, {}}, {"g1", 500, {move(0, -10), line(20, 30)}}, {"g2", 500, {}}}};
    const FontBytes expected = {
        1,    0,    4,    4,    0,    1,    1,    1,    6,    'T', 'a', 'g',  '+',  'F',  0,    1,    1,    1,
        85,                                                    // the top dictionary of 84 bytes
        30,   0x0A, 0x00, 0x04, 0x88, 0x28, 0x12, 0x50, 0xFF,  // 0.000488281250
        29,   0,    0,    0,    0,    29,   0,    0,    0,    0,   30,  0x0A, 0x00, 0x04, 0x88, 0x28, 0x12, 0x50,
        0xFF, 29,   0,    0,    0,    0,    29,   0,    0,    0,   0,   12,   7,    29,   0,    0,    0,    0,
        29,   0xFF, 0xFF, 0xFF, 0xF6, 29,   0,    0,    0,    20,  29,  0,    0,    0,    30,   5,
    };
    FontBytes made = make_cff(font);
    ASSERT_GT(made.size(), expected.size());
    const std::vector<uint8_t> head(made.begin(), made.begin() + static_cast<ptrdiff_t>(expected.size()));
    EXPECT_EQ(head, expected);
}

}  // namespace
}  // namespace kvprint
