#include "printhost/pen.h"

namespace kvprint {
namespace {

double length_of(const Figure& figure) {
    double length = 0;
    const auto& points = figure.points;
    for (size_t i = 1; i < points.size(); ++i) {
        length += std::hypot(points[i].x - points[i - 1].x, points[i].y - points[i - 1].y);
    }
    if (figure.closed) length += std::hypot(points[0].x - points.back().x, points[0].y - points.back().y);
    return length;
}

bool is_cosmetic(const fz_stroke_state& state) { return state.linewidth <= 0; }

// Device pixels of a unit of the dashes' lengths.
float dash_unit(const fz_stroke_state& state) {
    constexpr float kStyleUnit = 2;  // of cosmetic lines, as the driver tells the engine
    return is_cosmetic(state) ? kStyleUnit : 1;
}

float whole_dash(float length) { return std::max(std::round(length), 1.0f); }

void add_style(const fz_stroke_state& state, float scale, Pen& pen) {
    for (int i = 0; i < state.dash_len; ++i) {
        const float length = whole_dash(state.dash_list[i] * scale / dash_unit(state));
        FLOAT_LONG entry;
        if (pen.line.fl & LA_GEOMETRIC) {
            entry.e = length;
        } else {
            entry.l = static_cast<LONG>(length);
        }
        pen.style.push_back(entry);
    }
    if (pen.style.size() % 2) {  // the second round has dashes and gaps changed over
        const size_t count = pen.style.size();
        for (size_t i = 0; i < count; ++i) pen.style.push_back(pen.style[i]);
    }
    pen.line.fl |= LA_STYLED;
    pen.line.cstyle = static_cast<ULONG>(pen.style.size());
    pen.line.pstyle = pen.style.data();
}

// Walks along figures and hands out what lies under dashes.
class DashCutter {
public:
    DashCutter(const fz_stroke_state& state, float scale) {
        for (int i = 0; i < state.dash_len; ++i) lengths_.push_back(std::max(state.dash_list[i] * scale, 0.0f));
        phase_ = std::max(state.dash_phase * scale, 0.0f);
    }

    void cut(const Figure& figure) {
        if (figure.points.empty()) return;
        begin(figure.points.front());
        for (size_t i = 1; i < figure.points.size(); ++i) advance(figure.points[i - 1], figure.points[i]);
        if (figure.closed) advance(figure.points.back(), figure.points.front());
        end();
    }
    std::vector<Figure> take() { return std::move(dashes_); }

private:
    bool in_dash() const { return index_ % 2 == 0; }

    void begin(fz_point start) {
        index_ = 0;
        double period = 0;
        for (double length : lengths_) period += length;
        double offset = std::fmod(phase_, 2 * period);  // two rounds, as an odd number of lengths changes over
        while (offset > 0 && offset >= lengths_[index_ % lengths_.size()])
            offset -= lengths_[index_++ % lengths_.size()];
        left_ = lengths_[index_ % lengths_.size()] - offset;
        if (in_dash()) dash_ = {{start}, false};
    }

    void advance(fz_point from, fz_point to) {
        const double length = std::hypot(double{to.x} - from.x, double{to.y} - from.y);
        double at = 0;
        while (length - at > left_) {
            at += left_;
            const double t = at / length;
            const fz_point point = {static_cast<float>(from.x + t * (to.x - from.x)),
                                    static_cast<float>(from.y + t * (to.y - from.y))};
            change_over(point);
        }
        left_ -= length - at;
        if (in_dash()) dash_.points.push_back(to);
    }

    void change_over(fz_point point) {
        if (in_dash()) {
            const fz_point& last = dash_.points.back();
            const bool there = last.x == point.x && last.y == point.y;
            if (!there || dash_.points.size() == 1) dash_.points.push_back(point);
            end();
        }
        left_ = lengths_[++index_ % lengths_.size()];
        if (in_dash()) dash_ = {{point}, false};
    }

    void end() {
        if (in_dash() && dash_.points.size() > 1) dashes_.push_back(std::move(dash_));
        dash_ = {};
    }

    std::vector<double> lengths_;
    double phase_ = 0;
    size_t index_ = 0;  // of the length under way, counted on through the rounds
    double left_ = 0;   // of that length
    Figure dash_;
    std::vector<Figure> dashes_;
};

}  // namespace

Pen make_pen(const fz_stroke_state& state, float scale, Dashes dashes) {
    Pen pen;
    if (is_cosmetic(state)) {
        pen.line.elWidth.l = 1;
    } else {
        pen.line.fl = LA_GEOMETRIC;
        pen.line.elWidth.e = std::max(std::round(state.linewidth * scale), 1.0f);
        pen.line.eMiterLimit = state.miterlimit;
        pen.line.iJoin = state.linejoin == FZ_LINEJOIN_ROUND   ? JOIN_ROUND
                         : state.linejoin == FZ_LINEJOIN_BEVEL ? JOIN_BEVEL
                                                               : JOIN_MITER;
        pen.line.iEndCap = state.start_cap == FZ_LINECAP_ROUND    ? ENDCAP_ROUND
                           : state.start_cap == FZ_LINECAP_SQUARE ? ENDCAP_SQUARE
                                                                  : ENDCAP_BUTT;
    }
    if (dashes == Dashes::OfThePen && state.dash_len > 0) add_style(state, scale, pen);
    return pen;
}

bool is_uneven(const fz_stroke_state& state, fz_matrix ctm) {
    // The matrix stretches by its two singular values.
    const float sum = std::hypot(ctm.a + ctm.d, ctm.b - ctm.c), difference = std::hypot(ctm.a - ctm.d, ctm.b + ctm.c);
    const float most = (sum + difference) / 2, least = std::abs(sum - difference) / 2;
    return state.linewidth * (most - least) > 1;
}

bool needs_cutting(const fz_stroke_state& state, float scale, const std::vector<Figure>& figures) {
    constexpr double kShortestPeriod = 2, kMostDashes = 100000;
    if (state.dash_len == 0) return false;
    double period = 0, whole = 0, shortest = kFarthest;
    for (int i = 0; i < state.dash_len; ++i) {
        const float length = state.dash_list[i] * scale;
        period += length;
        whole += whole_dash(length / dash_unit(state)) * dash_unit(state);
        shortest = std::min(shortest, double{length});
    }
    double longest_figure = 0, all_figures = 0;
    for (const Figure& figure : figures) {
        const double length = length_of(figure);
        longest_figure = std::max(longest_figure, length);
        all_figures += length;
    }
    if (period < kShortestPeriod || all_figures / period > kMostDashes) return false;
    const double drift = longest_figure / period * std::abs(whole - period);
    return state.dash_phase > 0 || drift > std::max(shortest / 4, 1.0);
}

std::vector<Figure> cut_dashes(const fz_stroke_state& state, float scale, const std::vector<Figure>& figures) {
    DashCutter cutter(state, scale);
    for (const Figure& figure : figures) cutter.cut(figure);
    return cutter.take();
}

}  // namespace kvprint
