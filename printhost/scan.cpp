#include "printhost/scan.h"

namespace kvprint {
namespace {

// The first row or column whose centre is not before the coordinate.
LONG first_centre(double coordinate) {
    return static_cast<LONG>(std::ceil(std::clamp(coordinate, double{-kFarthest}, double{kFarthest}) - 0.5));
}

struct Edge {
    LONG first, end;  // rows
    double x;         // at the centre of the row that comes next
    double slope;     // x a row
    int direction;    // 1 downwards, -1 upwards
};

void add_edge(std::vector<Edge>& edges, fz_point from, fz_point to, const RECTL& area) {
    if (from.y == to.y) return;
    const int direction = from.y < to.y ? 1 : -1;
    if (direction < 0) std::swap(from, to);
    const LONG first = std::max(first_centre(from.y), area.top), end = std::min(first_centre(to.y), area.bottom);
    if (first >= end) return;
    const double slope = (double{to.x} - from.x) / (double{to.y} - from.y);
    edges.push_back({first, end, from.x + (first + 0.5 - from.y) * slope, slope, direction});
}

std::vector<Edge> edges_of(const std::vector<Figure>& figures, const RECTL& area) {
    std::vector<Edge> edges;
    for (const Figure& figure : figures) {
        const auto& points = figure.points;
        for (size_t i = 1; i < points.size(); ++i) add_edge(edges, points[i - 1], points[i], area);
        if (points.size() > 2) add_edge(edges, points.back(), points.front(), area);
    }
    std::sort(edges.begin(), edges.end(), [](const Edge& a, const Edge& b) { return a.first < b.first; });
    return edges;
}

// The edges that cross one row, from left to right.
class Row {
public:
    void advance(LONG y) {
        std::erase_if(edges_, [y](const Edge& edge) { return edge.end <= y; });
        added_ = false;
    }
    void add(const Edge& edge) {
        edges_.push_back(edge);
        added_ = true;
    }
    bool empty() const { return edges_.empty(); }

    std::vector<Region::Span> spans(FillRule rule, const RECTL& area) {
        sort();
        std::vector<Region::Span> spans;
        const int inside = rule == FillRule::EvenOdd ? 1 : -1;
        int winding = 0;
        LONG start = 0;
        for (Edge& edge : edges_) {
            const bool was_inside = winding & inside;
            winding += edge.direction;
            const LONG x = std::clamp(first_centre(edge.x), area.left, area.right);
            if (!was_inside) {
                start = x;
            } else if (!(winding & inside) && start < x) {
                add(spans, {start, x});
            }
            edge.x += edge.slope;
        }
        return spans;
    }

private:
    void sort() {
        if (added_) {
            std::sort(edges_.begin(), edges_.end(), [](const Edge& a, const Edge& b) { return a.x < b.x; });
            return;
        }
        // Edges hardly change places from row to row.
        for (size_t i = 1; i < edges_.size(); ++i) {
            for (size_t j = i; j > 0 && edges_[j].x < edges_[j - 1].x; --j) std::swap(edges_[j], edges_[j - 1]);
        }
    }
    static void add(std::vector<Region::Span>& spans, Region::Span span) {
        if (!spans.empty() && spans.back().right == span.left) {
            spans.back().right = span.right;
        } else {
            spans.push_back(span);
        }
    }

    std::vector<Edge> edges_;
    bool added_ = false;
};

}  // namespace

Region scan(const std::vector<Figure>& figures, FillRule rule, const RECTL& area) {
    Region region;
    if (is_empty(area)) return region;
    const std::vector<Edge> edges = edges_of(figures, area);
    Row row;
    auto next = edges.begin();
    for (LONG y = next == edges.end() ? area.bottom : next->first; y < area.bottom; ++y) {
        row.advance(y);
        for (; next != edges.end() && next->first == y; ++next) row.add(*next);
        if (!row.empty()) region.append(y, y + 1, row.spans(rule, area));
    }
    return region;
}

}  // namespace kvprint
