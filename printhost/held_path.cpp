#include "printhost/held_path.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <utility>
#include <vector>

namespace kvprint {

using kv::engine::Path;

namespace {

// Beyond so many blocks nothing is gained; larger paths go by themselves.
constexpr size_t kMostBlocks = 500;
constexpr FLONG kWholeFigure = PD_BEGINSUBPATH | PD_ENDSUBPATH;

template <class Visit>
void visit_blocks(Path& path, Visit visit) {
    path.start_enumeration();
    PATHDATA block;
    bool more = !path.empty();
    while (more) {
        more = path.next_block(block);
        visit(block);
    }
}

// Twice the area of the triangle, by the sense in which it is run around.
LONGLONG turn(POINTFIX a, POINTFIX b, POINTFIX c) {
    return LONGLONG{b.x - a.x} * (c.y - b.y) - LONGLONG{b.y - a.y} * (c.x - b.x);
}

// The corners of a triangle or a convex quadrangle in one sense, or of what has no area; none of another path. Such
// figures cover together what each covers, by the winding rule.
std::vector<POINTFIX> convex_corners(Path& path) {
    constexpr ULONG kMost = 4;
    std::vector<POINTFIX> corners;
    size_t blocks = 0;
    visit_blocks(path, [&](const PATHDATA& block) {
        const bool whole = (block.flags & kWholeFigure) == kWholeFigure && !(block.flags & PD_BEZIERS);
        if (++blocks == 1 && whole && block.count <= kMost + 1) corners.assign(block.pptfx, block.pptfx + block.count);
    });
    auto is_same = [](POINTFIX a, POINTFIX b) { return a.x == b.x && a.y == b.y; };
    if (corners.size() > 1 && is_same(corners.front(), corners.back())) corners.pop_back();
    if (blocks != 1 || corners.size() > kMost) return {};
    bool left = false, right = false;
    for (size_t i = 0; i < corners.size(); ++i) {
        const size_t next = (i + 1) % corners.size(), after = (i + 2) % corners.size();
        const LONGLONG turned = turn(corners[i], corners[next], corners[after]);
        left = left || turned < 0;
        right = right || turned > 0;
    }
    if (left && right) return {};
    if (left) std::reverse(corners.begin() + 1, corners.end());
    return corners;
}

void add_figure(std::span<const POINTFIX> corners, Path& target) {
    target.move_to(corners.front());
    for (const POINTFIX& corner : corners.subspan(1)) target.line_to(corner);
    target.close();
}

void add_blocks(Path& path, Path& target) {
    visit_blocks(path, [&](const PATHDATA& block) {
        std::span<const POINTFIX> points(block.pptfx, block.count);
        if (block.flags & PD_BEGINSUBPATH && !points.empty()) {
            target.move_to(points.front());
            points = points.subspan(1);
        }
        if (block.flags & PD_BEZIERS) {
            for (; points.size() >= 3; points = points.subspan(3)) target.curve_to(points[0], points[1], points[2]);
        } else {
            for (const POINTFIX& point : points) target.line_to(point);
        }
        if (block.flags & PD_CLOSEFIGURE) target.close();
    });
}

bool is_same_pen(const LINEATTRS& a, const LINEATTRS& b) {
    return a.fl == b.fl && a.iJoin == b.iJoin && a.iEndCap == b.iEndCap && a.eMiterLimit == b.eMiterLimit &&
           std::memcmp(&a.elWidth, &b.elWidth, sizeof a.elWidth) == 0;
}

}  // namespace

bool PathStyle::operator==(const PathStyle& other) const {
    return stroked == other.stroked && colour == other.colour && std::memcmp(&clip, &other.clip, sizeof clip) == 0 &&
           (stroked ? is_same_pen(line, other.line) : options == other.options);
}

// A pen's figures may lie over each other, and so may convex ones; others would cut holes into each other. The edges of
// a line that is drawn twice are darker on screens.
bool HeldPath::takes(const PathStyle& style, bool is_convex, const RECTL& ink) const {
    if (style != style_ || path_->block_count() >= kMostBlocks) return false;
    if (style.stroked) return !places_.has_marked(ink);
    return (is_convex && all_convex_) || !places_.has_any(ink);
}

bool HeldPath::add(Path& path, PathStyle style, const RECTL& ink) {
    if (style.line.cstyle > 0 || path.block_count() > kMostBlocks) return false;
    const std::vector<POINTFIX> corners = style.stroked ? std::vector<POINTFIX>() : convex_corners(path);
    if (!corners.empty()) style.options = FP_WINDINGMODE;
    if (path_ && !takes(style, !corners.empty(), ink)) return false;
    if (!path_) {
        path_ = std::make_unique<Path>();
        style_ = style;
        all_convex_ = !style.stroked;
    }
    all_convex_ = all_convex_ && !corners.empty();
    corners.empty() ? add_blocks(path, *path_) : add_figure(corners, *path_);
    places_.mark(ink, style.colour);
    return true;
}

std::unique_ptr<Path> HeldPath::take() {
    places_.clear();
    return std::exchange(path_, nullptr);
}

}  // namespace kvprint
