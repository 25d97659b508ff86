#include "drawing/shapes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

namespace kvjob {
namespace {

// Saves and restores the context around a change of its path and pen.
class Saved {
public:
    explicit Saved(cairo_t* context) : context_(context) {
        cairo_save(context);
        cairo_new_path(context);
    }
    ~Saved() {
        cairo_new_path(context_);
        cairo_restore(context_);
    }
    Saved(const Saved&) = delete;
    Saved& operator=(const Saved&) = delete;

private:
    cairo_t* context_;
};

// Cairo's fixed-point coordinates hold 23 bits of whole output pixels.
class PathWriter {
public:
    explicit PathWriter(cairo_t* context) : context_(context) {
        cairo_matrix_t matrix;
        cairo_get_matrix(context, &matrix);
        constexpr double kFarthest = 1 << 21;
        farthest_ = kFarthest / std::max(std::abs(matrix.xx), 1e-6);
    }

    void add(const PathEntry& entry) {
        size_t next = 0;
        if ((entry.flags & kBeginFigure) && !entry.points.empty()) {
            move_to(entry.points[0]);
            next = 1;
        }
        for (; next < entry.points.size(); ++next) {
            if (entry.flags & kCurves) {
                add_control(entry.points[next]);
            } else {
                line_to(entry.points[next]);
            }
        }
        if (entry.flags & kCloseFigure) cairo_close_path(context_);
    }

private:
    using Point = std::array<int32_t, 2>;
    double limited(int32_t value) const { return std::clamp(static_cast<double>(value), -farthest_, farthest_); }
    void move_to(const Point& point) {
        controls_ = 0;
        cairo_move_to(context_, limited(point[0]), limited(point[1]));
    }
    void line_to(const Point& point) {
        controls_ = 0;
        cairo_line_to(context_, limited(point[0]), limited(point[1]));
    }
    // Three points make a curve, also where they come in several entries.
    void add_control(const Point& point) {
        curve_[controls_++] = point;
        if (controls_ < curve_.size()) return;
        controls_ = 0;
        const auto& [a, b, c] = curve_;
        cairo_curve_to(context_, limited(a[0]), limited(a[1]), limited(b[0]), limited(b[1]), limited(c[0]),
                       limited(c[1]));
    }

    cairo_t* context_;
    double farthest_;
    std::array<Point, 3> curve_ = {};
    size_t controls_ = 0;
};

double length_of(const Path& path) {
    double length = 0;
    for (const PathEntry& entry : path) {
        for (size_t i = 1; i < entry.points.size(); ++i) {
            length += std::hypot(double{1} * entry.points[i][0] - entry.points[i - 1][0],
                                 double{1} * entry.points[i][1] - entry.points[i - 1][1]);
        }
    }
    return length;
}

}  // namespace

void add_path(cairo_t* context, const Path& path) {
    PathWriter writer(context);
    for (const PathEntry& entry : path) writer.add(entry);
}

void FillShape::paint(cairo_t* context) const {
    const Saved saved(context);
    add_path(context, path_);
    cairo_set_fill_rule(context, even_odd_ ? CAIRO_FILL_RULE_EVEN_ODD : CAIRO_FILL_RULE_WINDING);
    cairo_fill(context);
}

Box FillShape::extents(cairo_t* context) const {
    const Saved saved(context);
    Box box = {};
    add_path(context, path_);
    cairo_path_extents(context, &box.left, &box.top, &box.right, &box.bottom);
    return box;
}

void RectShape::paint(cairo_t* context) const {
    const Saved saved(context);
    cairo_rectangle(context, rect_.left, rect_.top, double{1} * rect_.right - rect_.left,
                    double{1} * rect_.bottom - rect_.top);
    cairo_fill(context);
}

Box RectShape::extents(cairo_t*) const {
    return {double{1} * rect_.left, double{1} * rect_.top, double{1} * rect_.right, double{1} * rect_.bottom};
}

std::vector<double> dashes_of(const DrawState& state) {
    constexpr double kStyleUnit = 2;  // device pixels, of cosmetic lines
    constexpr uint8_t kPenStyles[] = {0x00, 0x03, 0x55, 0x1B, 0x15, 0xFF};
    if (state.style_mask == 0) return {};
    const double unit = state.geometric ? 1 : kStyleUnit;
    const bool pen_style =
        std::find(std::begin(kPenStyles), std::end(kPenStyles), state.style_mask) != std::end(kPenStyles);
    std::vector<double> dashes;
    if (!state.dashes.empty() && (state.geometric || !pen_style)) {
        for (const uint16_t length : state.dashes) dashes.push_back(length * unit);
        return dashes;
    }
    // Eight steps from the highest bit; a set bit is a gap. A mask that begins with a gap gets a dash of no length.
    bool in_gap = false;
    double run = 0;
    for (int step = 0; step < 8; ++step) {
        const bool gap = (state.style_mask << step & 0x80) != 0;
        if (gap != in_gap) {
            dashes.push_back(run);
            run = 0;
            in_gap = gap;
        }
        run += unit;
    }
    dashes.push_back(run);
    if (dashes.size() % 2) dashes.push_back(0);
    return dashes;
}

void StrokeShape::prepare(cairo_t* context) const {
    constexpr cairo_line_cap_t kCaps[] = {CAIRO_LINE_CAP_ROUND, CAIRO_LINE_CAP_SQUARE, CAIRO_LINE_CAP_BUTT};
    constexpr cairo_line_join_t kJoins[] = {CAIRO_LINE_JOIN_ROUND, CAIRO_LINE_JOIN_BEVEL, CAIRO_LINE_JOIN_MITER};
    constexpr double kCentre = 0.5, kMostDashes = 1e5;
    cairo_translate(context, kCentre, kCentre);
    add_path(context, path_);
    const double width = std::max<double>(state_.width, 1);
    if (state_.geometric) {
        cairo_set_line_width(context, width);
        cairo_set_line_cap(context, kCaps[std::min<int>(state_.end_cap, 2)]);
        cairo_set_line_join(context, kJoins[std::min<int>(state_.join, 2)]);
        cairo_set_miter_limit(context, std::isfinite(state_.miter) ? std::max(1.0f, state_.miter) : 10);
    } else {
        cairo_set_line_width(context, std::max(width, hairline_));
        cairo_set_line_cap(context, CAIRO_LINE_CAP_SQUARE);
        cairo_set_line_join(context, CAIRO_LINE_JOIN_MITER);
    }
    const std::vector<double> dashes = dashes_of(state_);
    const double period = std::accumulate(dashes.begin(), dashes.end(), 0.0);
    // Dashes too small to be told apart would cost time without end.
    if (period > 0 && length_of(path_) / period < kMostDashes) {
        if (!state_.geometric) cairo_set_line_cap(context, CAIRO_LINE_CAP_BUTT);
        cairo_set_dash(context, dashes.data(), static_cast<int>(dashes.size()), 0);
    }
}

void StrokeShape::paint(cairo_t* context) const {
    constexpr uint8_t kNullPen = 0xFF;
    if (state_.style_mask == kNullPen && (!state_.geometric || state_.dashes.empty())) return;
    const Saved saved(context);
    prepare(context);
    cairo_stroke(context);
}

Box StrokeShape::extents(cairo_t* context) const {
    const Saved saved(context);
    prepare(context);
    // Bounds of the path widened by the pen cost less than those of the stroke, and hold for every join.
    Box box = {};
    cairo_path_extents(context, &box.left, &box.top, &box.right, &box.bottom);
    constexpr double kDiagonal = 1.5, kCentre = 0.5;
    const double join =
        state_.geometric && state_.join == 2 ? std::max<double>(kDiagonal, cairo_get_miter_limit(context)) : kDiagonal;
    const double reach = cairo_get_line_width(context) / 2 * join;
    return {box.left - reach + kCentre, box.top - reach + kCentre, box.right + reach + kCentre,
            box.bottom + reach + kCentre};
}

}  // namespace kvjob
