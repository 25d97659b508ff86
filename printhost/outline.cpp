#include "printhost/outline.h"

#include <tuple>

#include "printhost/path_walk.h"

namespace kvprint {
namespace {

using kv::engine::Path;

POINTFIX to_device(fz_point point, Points points) {
    constexpr FIX kPixel = 16;
    // Where a line begins and another ends is the same pixel, however the two were calculated.
    constexpr float kSlack = 1.0f / 64;
    const float shift = points == Points::Centres ? 0.5f - kSlack : 0.0f;
    return {nearest_pixel(point.x - shift) * kPixel, nearest_pixel(point.y - shift) * kPixel};
}

struct ToEngine {
    Path& path;
    Points points;
    POINTFIX map(fz_point point) const { return to_device(point, points); }
    void move_to(fz_point point) { path.move_to(map(point)); }
    void line_to(fz_point point) { path.line_to(map(point)); }
    void curve_to(fz_point a, fz_point b, fz_point end) { path.curve_to(map(a), map(b), map(end)); }
    void close() { path.close(); }
};

class Flattener {
public:
    std::vector<Figure> take() { return std::move(figures_); }

    void move_to(fz_point point) {
        figures_.push_back({{point}, false});
        start_ = point;
    }
    void line_to(fz_point point) { open().points.push_back(point); }
    void curve_to(fz_point a, fz_point b, fz_point end) {
        Figure& figure = open();
        const fz_point start = figure.points.back();
        const int pieces = pieces_of(start, a, b, end);
        for (int i = 1; i < pieces; ++i) {
            const float t = static_cast<float>(i) / static_cast<float>(pieces), u = 1 - t;
            const float w0 = u * u * u, w1 = 3 * u * u * t, w2 = 3 * u * t * t, w3 = t * t * t;
            figure.points.push_back(
                {w0 * start.x + w1 * a.x + w2 * b.x + w3 * end.x, w0 * start.y + w1 * a.y + w2 * b.y + w3 * end.y});
        }
        figure.points.push_back(end);
    }
    void close() {
        if (!figures_.empty()) figures_.back().closed = true;
    }

private:
    // What goes on after a closed figure begins where that one began.
    Figure& open() {
        if (figures_.empty() || figures_.back().closed) move_to(start_);
        return figures_.back();
    }

    // A curve cut into n pieces leaves their lines by at most 3/4 d / n², d being the larger second difference of its
    // control points.
    static int pieces_of(fz_point start, fz_point a, fz_point b, fz_point end) {
        constexpr float kTolerance = 0.1f, kMost = 512;
        auto bend = [](fz_point p, fz_point q, fz_point r) {
            return std::hypot(p.x - 2 * q.x + r.x, p.y - 2 * q.y + r.y);
        };
        const float most = std::max(bend(start, a, b), bend(a, b, end));
        return static_cast<int>(std::clamp(std::ceil(std::sqrt(0.75f * most / kTolerance)), 1.0f, kMost));
    }

    std::vector<Figure> figures_;
    fz_point start_ = {0, 0};
};

// Corners of a path of one figure with straight sides, until it turns out to be something else.
struct RectProbe {
    std::vector<fz_point> corners;
    bool polygon = true;

    void move_to(fz_point point) {
        polygon = polygon && corners.empty();
        line_to(point);
    }
    void line_to(fz_point point) {
        constexpr size_t kMost = 6;
        polygon = polygon && corners.size() < kMost;
        if (polygon) corners.push_back(point);
    }
    void curve_to(fz_point, fz_point, fz_point) { polygon = false; }
    void close() {}
};

}  // namespace

std::vector<Figure> flatten(fz_context* context, const fz_path* path, fz_matrix ctm) {
    Flattener target;
    walk(context, path, ctm, target);
    return target.take();
}

void add_path(fz_context* context, const fz_path* source, fz_matrix ctm, Points points, Path& target) {
    ToEngine to = {target, points};
    walk(context, source, ctm, to);
}

void add_figure(const Figure& figure, Points points, Path& target) {
    if (figure.points.empty()) return;
    ToEngine to = {target, points};
    to.move_to(figure.points.front());
    for (size_t i = 1; i < figure.points.size(); ++i) to.line_to(figure.points[i]);
    if (figure.closed) to.close();
}

bool find_rect(fz_context* context, const fz_path* path, fz_matrix ctm, fz_rect& rect) {
    RectProbe probe;
    walk(context, path, ctm, probe);
    auto& corners = probe.corners;
    auto same = [](float a, float b) { return std::abs(a - b) < 0.01f; };
    if (corners.size() == 5 && same(corners[0].x, corners[4].x) && same(corners[0].y, corners[4].y)) {
        corners.pop_back();
    }
    if (!probe.polygon || corners.size() != 4) return false;
    const auto& [a, b, c, d] = std::tie(corners[0], corners[1], corners[2], corners[3]);
    const bool across_first = same(a.y, b.y) && same(b.x, c.x) && same(c.y, d.y) && same(d.x, a.x);
    const bool down_first = same(a.x, b.x) && same(b.y, c.y) && same(c.x, d.x) && same(d.y, a.y);
    if (!across_first && !down_first) return false;
    rect = {std::min(a.x, c.x), std::min(a.y, c.y), std::max(a.x, c.x), std::max(a.y, c.y)};
    return true;
}

}  // namespace kvprint
