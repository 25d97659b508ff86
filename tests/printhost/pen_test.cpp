#include "printhost/pen.h"

#include <gtest/gtest.h>

#include <sstream>

namespace kvprint {
namespace {

struct Dashed : fz_stroke_state {
    Dashed(float width, std::vector<float> lengths, float phase = 0) : fz_stroke_state{} {
        linewidth = width;
        dash_phase = phase;
        dash_len = static_cast<int>(lengths.size());
        std::copy(lengths.begin(), lengths.end(), dash_list);
    }
};

std::string text_of(const std::vector<Figure>& figures) {
    std::ostringstream text;
    for (const Figure& figure : figures) {
        if (text.tellp() > 0) text << "; ";
        for (size_t i = 0; i < figure.points.size(); ++i) {
            text << (i ? " " : "") << figure.points[i].x << ',' << figure.points[i].y;
        }
    }
    return text.str();
}

TEST(Pen, WholePixels) {
    Dashed state(1.2f, {1, 0.1f, 3});
    state.linejoin = FZ_LINEJOIN_BEVEL;
    state.start_cap = FZ_LINECAP_SQUARE;
    state.miterlimit = 4;
    const Pen pen = make_pen(state, 4, Dashes::OfThePen);
    EXPECT_EQ(pen.line.fl, FLONG{LA_GEOMETRIC | LA_STYLED});
    EXPECT_EQ(pen.line.elWidth.e, 5);  // 4.8
    EXPECT_EQ(pen.line.iJoin, ULONG{JOIN_BEVEL});
    EXPECT_EQ(pen.line.iEndCap, ULONG{ENDCAP_SQUARE});
    EXPECT_EQ(pen.line.eMiterLimit, 4);
    std::vector<float> lengths;
    for (ULONG i = 0; i < pen.line.cstyle; ++i) lengths.push_back(pen.line.pstyle[i].e);
    EXPECT_EQ(lengths, std::vector<float>({4, 1, 12, 4, 1, 12}));  // an odd number goes round twice
    EXPECT_EQ(make_pen(state, 4, Dashes::None).line.cstyle, 0u);
    EXPECT_EQ(make_pen(Dashed(0.01f, {}), 4, Dashes::OfThePen).line.elWidth.e, 1);

    const Pen hairline = make_pen(Dashed(0, {2, 1}), 4, Dashes::OfThePen);
    EXPECT_EQ(hairline.line.fl, FLONG{LA_STYLED});
    EXPECT_EQ(hairline.line.elWidth.l, 1);
    EXPECT_EQ(hairline.line.pstyle[0].l, 4);  // 8 pixels, in units of two
    EXPECT_EQ(hairline.line.pstyle[1].l, 2);
}

TEST(Pen, UnevenMatrices) {
    const Dashed line(2, {});
    EXPECT_FALSE(is_uneven(line, fz_scale(5, 5)));
    EXPECT_FALSE(is_uneven(line, fz_concat(fz_scale(5, -5), fz_rotate(30))));
    EXPECT_FALSE(is_uneven(line, fz_scale(5, 5.4f)));
    EXPECT_TRUE(is_uneven(line, fz_scale(5, 6)));
    EXPECT_TRUE(is_uneven(line, fz_concat(fz_scale(5, 6), fz_rotate(30))));
}

TEST(Dashes, CutWhereAPenCannotSayThem) {
    const std::vector<Figure> line = {{{{0, 0}, {1000, 0}}, false}};
    const std::tuple<const char*, Dashed, bool> cases[] = {
        {"none", Dashed(1, {}), false},
        {"whole pixels", Dashed(1, {3, 2}), false},
        {"100 rounds of 10 pixels in units of two", Dashed(0, {6, 4}), false},
        {"100 rounds of 10 pixels that are none of two", Dashed(0, {5, 5}), true},
        {"an offset", Dashed(1, {3, 2}, 1), true},
        {"100 rounds of 10.25 pixels end 25 pixels off", Dashed(1, {5.25f, 5}), true},
        {"two rounds of 400.25 pixels end half a pixel off", Dashed(1, {200.25f, 200}), false},
        {"shorter than pixels", Dashed(1, {0.5f, 0.5f}, 1), false},
    };
    for (const auto& [name, state, cut] : cases) EXPECT_EQ(needs_cutting(state, 1, line), cut) << name;
}

TEST(Dashes, AlongFigures) {
    const std::vector<Figure> corner = {{{{0, 0}, {10, 0}, {10, 10}}, false}};
    const std::vector<Figure> square = {{{{0, 0}, {4, 0}, {4, 4}, {0, 4}}, true}};
    const std::tuple<const char*, Dashed, const std::vector<Figure>&, const char*> cases[] = {
        {"round a corner", Dashed(1, {8, 1}), corner, "0,0 8,0; 9,0 10,0 10,7; 10,8 10,10"},
        {"from an offset in a dash", Dashed(1, {4, 4}, 2), corner, "0,0 2,0; 6,0 10,0; 10,4 10,8"},
        {"from an offset in a gap", Dashed(1, {4, 4}, 6), corner, "2,0 6,0; 10,0 10,4; 10,8 10,10"},
        {"an odd number changes over", Dashed(1, {5}), corner, "0,0 5,0; 10,0 10,5"},
        {"an odd number's second round", Dashed(1, {5}, 5), corner, "5,0 10,0; 10,5 10,10"},
        {"dots", Dashed(1, {0, 8}), corner, "0,0 0,0; 8,0 8,0; 10,6 10,6"},
        {"the closing side", Dashed(1, {3, 2}), square, "0,0 3,0; 4,1 4,4; 2,4 0,4 0,3; 0,1 0,0"},
    };
    for (const auto& [name, state, figures, expected] : cases) {
        EXPECT_EQ(text_of(cut_dashes(state, 1, figures)), expected) << name;
    }
}

}  // namespace
}  // namespace kvprint
