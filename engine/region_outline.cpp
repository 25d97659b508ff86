#include "engine/region_outline.h"

#include <algorithm>
#include <numeric>

namespace kv::engine {
namespace {

bool is_banded(const std::vector<RECTL>& rects) {
    for (size_t i = 0; i < rects.size(); ++i) {
        const RECTL& rect = rects[i];
        if (rect.left >= rect.right || rect.top >= rect.bottom) return false;
        if (i == 0) continue;
        const RECTL& before = rects[i - 1];
        const bool same_band = rect.top == before.top && rect.bottom == before.bottom && rect.left >= before.right;
        if (!same_band && rect.top < before.bottom) return false;
    }
    return true;
}

// Where the left and right edges of one band lie, in pairs; rectangles that touch are one.
using Edges = std::vector<LONG>;

// The outline as corners, two of which every horizontal and every vertical side joins. Corners stand in rows from
// top to bottom and from left to right in a row, so that those of a horizontal side are neighbours: 2k and 2k + 1.
class Outline {
public:
    explicit Outline(const std::vector<RECTL>& rects) {
        Edges above;
        LONG bottom = rects.front().top;
        for (size_t first = 0, next = 0; first < rects.size(); first = next) {
            Edges edges;
            while (next < rects.size() && rects[next].top == rects[first].top) add(edges, rects[next++]);
            if (rects[first].top > bottom) {
                add_row(bottom, above, {});
                above.clear();
            }
            add_row(rects[first].top, above, edges);
            above = std::move(edges);
            bottom = rects[first].bottom;
        }
        add_row(bottom, above, {});
        join_vertically();
    }

    void trace(Path& path) const {
        std::vector<bool> used(corners_.size());
        for (size_t side = 0; side < corners_.size(); side += 2) {
            if (used[side]) continue;
            // A side with the region below it is an upper one and goes to the right.
            const size_t start = region_below_[side / 2] ? side : side + 1;
            path.move_to(fixed(corners_[start]));
            for (size_t from = start;;) {
                const size_t to = from ^ 1;
                used[from] = used[to] = true;
                path.line_to(fixed(corners_[to]));
                from = vertical_[to];
                if (from == start) break;
                path.line_to(fixed(corners_[from]));
            }
            path.close();
        }
    }

private:
    static POINTFIX fixed(const POINTL& corner) { return corner_at(corner.x, corner.y); }

    static void add(Edges& edges, const RECTL& rect) {
        if (!edges.empty() && edges.back() == rect.left) {
            edges.back() = rect.right;
        } else {
            edges.insert(edges.end(), {rect.left, rect.right});
        }
    }

    // Sides lie where exactly one of the bands is.
    void add_row(LONG y, const Edges& above, const Edges& below) {
        bool in_above = false, in_below = false;
        LONG start = 0;
        for (size_t a = 0, b = 0; a < above.size() || b < below.size();) {
            const LONG x = b == below.size() || (a < above.size() && above[a] <= below[b]) ? above[a] : below[b];
            if (in_above != in_below && start < x) add_side(y, start, x, in_below);
            start = x;
            for (; a < above.size() && above[a] == x; ++a) in_above = !in_above;
            for (; b < below.size() && below[b] == x; ++b) in_below = !in_below;
        }
    }

    void add_side(LONG y, LONG left, LONG right, bool region_below) {
        corners_.insert(corners_.end(), {{left, y}, {right, y}});
        region_below_.push_back(region_below);
    }

    // In a column too, neighbours are the ends of a side.
    void join_vertically() {
        std::vector<size_t> order(corners_.size());
        std::iota(order.begin(), order.end(), size_t{0});
        std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) { return corners_[a].x < corners_[b].x; });
        vertical_.resize(corners_.size());
        for (size_t i = 0; i + 1 < order.size(); i += 2) {
            vertical_[order[i]] = order[i + 1];
            vertical_[order[i + 1]] = order[i];
        }
    }

    std::vector<POINTL> corners_;
    std::vector<bool> region_below_;  // of each horizontal side
    std::vector<size_t> vertical_;    // the corner at the other end of the vertical side
};

}  // namespace

void add_outlines(const std::vector<RECTL>& rects, Path& path) {
    if (rects.empty()) return;
    if (is_banded(rects)) {
        Outline(rects).trace(path);
    } else {
        for (const RECTL& rect : rects) path.add_rect(rect);
    }
}

}  // namespace kv::engine
