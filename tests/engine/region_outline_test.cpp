#include "engine/region_outline.h"

#include <gtest/gtest.h>

#include <sstream>

namespace kv::engine {
namespace {

// The figures of a region in whole pixels: "0,0 10,0 10,5 0,5; ..."
std::string outlines(const std::vector<RECTL>& rects) {
    Path path;
    add_outlines(rects, path);
    std::ostringstream text;
    PATHOBJ_vEnumStart(&path);
    for (BOOL more = !rects.empty(); more;) {
        PATHDATA data;
        more = PATHOBJ_bEnum(&path, &data);
        EXPECT_EQ(data.flags, PD_BEGINSUBPATH | PD_RESETSTYLE | PD_ENDSUBPATH | PD_CLOSEFIGURE);
        if (text.tellp() > 0) text << "; ";
        for (ULONG i = 0; i < data.count; ++i) {
            text << (i ? " " : "") << data.pptfx[i].x / 16 << ',' << data.pptfx[i].y / 16;
        }
    }
    return text.str();
}

TEST(RegionOutline, ShapesOfBands) {
    const std::tuple<const char*, std::vector<RECTL>, const char*> cases[] = {
        {"nothing", {}, ""},
        {"a rectangle", {{2, 3, 7, 9}}, "2,3 7,3 7,9 2,9"},
        {"an L", {{0, 0, 4, 4}, {0, 4, 9, 6}}, "0,0 4,0 4,4 9,4 9,6 0,6"},
        {"touching in a band", {{0, 0, 4, 4}, {4, 0, 9, 4}}, "0,0 9,0 9,4 0,4"},
        {"two apart in a band", {{0, 0, 2, 2}, {5, 0, 7, 2}}, "0,0 2,0 2,2 0,2; 5,0 7,0 7,2 5,2"},
        {"two apart by rows", {{0, 0, 2, 2}, {0, 5, 2, 7}}, "0,0 2,0 2,2 0,2; 0,5 2,5 2,7 0,7"},
        {"a hole runs the other way",
         {{0, 0, 9, 2}, {0, 2, 3, 4}, {6, 2, 9, 4}, {0, 4, 9, 6}},
         "0,0 9,0 9,6 0,6; 6,2 3,2 3,4 6,4"},
        {"not in bands", {{0, 0, 2, 4}, {2, 1, 4, 3}}, "0,0 2,0 2,4 0,4; 2,1 4,1 4,3 2,3"},
    };
    for (const auto& [name, rects, expected] : cases) EXPECT_EQ(outlines(rects), expected) << name;
}

// Squares that meet at a corner: each side of the outline has the region on its right, whichever way the two figures
// are joined at the corner.
TEST(RegionOutline, CornersThatMeetKeepTheirDirection) {
    EXPECT_EQ(outlines({{0, 0, 2, 2}, {2, 2, 4, 4}}), "0,0 2,0 2,2 0,2; 2,2 4,2 4,4 2,4");
    EXPECT_EQ(outlines({{2, 0, 4, 2}, {0, 2, 2, 4}}), "2,0 4,0 4,2 2,2 2,4 0,4 0,2 2,2");
}

}  // namespace
}  // namespace kv::engine
