#include "printhost/region.h"

#include <gtest/gtest.h>

#include "printhost/scan.h"

namespace kvprint {
namespace {

// Rows of characters from the corner (0, 0) on, parted by bars: '#' inside.
std::string picture(const Region& region, size_t width, size_t height) {
    std::string rows;
    for (size_t y = 0; y < height; ++y) rows += (y > 0 ? "|" : "") + std::string(width, '.');
    for (const RECTL& rect : region.rects()) {
        for (LONG y = rect.top; y < rect.bottom; ++y) {
            for (LONG x = rect.left; x < rect.right; ++x) rows.at(y * (width + 1) + x) = '#';
        }
    }
    return rows;
}

TEST(Region, RowsOfTheSameSpansAreOneBand) {
    Region region;
    region.append(0, 1, {{1, 3}, {5, 6}});
    region.append(1, 4, {{1, 3}, {5, 6}});
    region.append(4, 5, {});
    region.append(6, 7, {{0, 2}});
    EXPECT_EQ(region.rect_count(), 3u);
    EXPECT_EQ(region.rects().size(), 3u);
    const RECTL bounds = region.bounds();
    EXPECT_EQ(std::vector<LONG>({bounds.left, bounds.top, bounds.right, bounds.bottom}),
              std::vector<LONG>({0, 0, 6, 7}));
    EXPECT_EQ(picture(region, 7, 7), ".##..#.|.##..#.|.##..#.|.##..#.|.......|.......|##.....");
    EXPECT_FALSE(region.is_rect());
    EXPECT_TRUE(Region(RECTL{1, 1, 2, 2}).is_rect());
    EXPECT_TRUE(Region(RECTL{1, 1, 1, 2}).empty());
}

TEST(Region, Intersections) {
    Region ring;
    ring.append(0, 1, {{0, 5}});
    ring.append(1, 3, {{0, 1}, {4, 5}});
    ring.append(3, 4, {{0, 5}});
    EXPECT_EQ(picture(ring.intersected(Region(RECTL{0, 1, 4, 9})), 5, 4), ".....|#....|#....|####.");
    EXPECT_TRUE(ring.intersected(Region(RECTL{1, 1, 4, 3})).empty());
    EXPECT_TRUE(ring.intersected(Region()).empty());
    EXPECT_EQ(picture(ring.intersected(ring), 5, 4), picture(ring, 5, 4));
}

Figure polygon(std::vector<fz_point> points) { return {std::move(points), true}; }

// A pixel is inside when its centre is.
TEST(Scan, ShapesUnderBothRules) {
    const Figure square = polygon({{0, 0}, {6, 0}, {6, 6}, {0, 6}});
    const Figure inner = polygon({{2, 2}, {4, 2}, {4, 4}, {2, 4}});
    const Figure inner_reversed = polygon({{2, 2}, {2, 4}, {4, 4}, {4, 2}});
    const std::tuple<const char*, std::vector<Figure>, FillRule, const char*> cases[] = {
        {"a hole by its direction",
         {square, inner_reversed},
         FillRule::Winding,
         "######|######|##..##|##..##|######|######"},
        {"no hole in the same direction",
         {square, inner},
         FillRule::Winding,
         "######|######|######|######|######|######"},
        {"a hole by number", {square, inner}, FillRule::EvenOdd, "######|######|##..##|##..##|######|######"},
        {"a triangle, its sides through centres",
         {polygon({{0, 0}, {6, 0}, {0, 6}})},
         FillRule::Winding,
         "#####.|####..|###...|##....|#.....|......"},
        {"edges between centres",
         {polygon({{0.4f, 1.6f}, {4.6f, 1.6f}, {4.6f, 2.4f}, {0.4f, 2.4f}})},
         FillRule::Winding,
         "......|......|......|......|......|......"},
        {"edges beyond centres",
         {polygon({{0.6f, 1.4f}, {4.6f, 1.4f}, {4.6f, 3.4f}, {0.6f, 3.4f}})},
         FillRule::Winding,
         "......|.####.|.####.|......|......|......"},
        {"wider than the area",
         {polygon({{-9, 1}, {99, 1}, {99, 3}, {-9, 3}})},
         FillRule::Winding,
         "......|######|######|......|......|......"},
        {"open figures count as closed",
         {{{{0, 0}, {3, 0}, {3, 3}, {0, 3}}, false}},
         FillRule::Winding,
         "###...|###...|###...|......|......|......"},
    };
    for (const auto& [name, figures, rule, expected] : cases) {
        EXPECT_EQ(picture(scan(figures, rule, {0, 0, 6, 6}), 6, 6), expected) << name;
    }
}

}  // namespace
}  // namespace kvprint
