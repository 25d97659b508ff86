#include "printhost/text_runs.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>
#include <utility>

namespace kvprint {
namespace {

constexpr LONG kLongestAdvance = 0x7FFF, kFarthestOffset = 0x7FFF;

POINTL nearest(double x, double y) { return {static_cast<LONG>(std::lround(x)), static_cast<LONG>(std::lround(y))}; }

// What the driver makes of an angle: tenths of a degree, and right angles within nine of them.
class Baseline {
public:
    explicit Baseline(double degrees) {
        const int tenths = (static_cast<int>(std::lround(degrees * 10)) % 3600 + 3600) % 3600;
        const int right_angle = (tenths + 450) / 900 * 900;
        right_ = std::abs(tenths - right_angle) <= 9;
        const double angle = (right_ ? right_angle : tenths) * std::numbers::pi / 1800;
        x_ = std::cos(angle);
        y_ = -std::sin(angle);
    }
    bool is_right_angled() const { return right_; }
    double along(POINTL from, double x, double y) const { return (x - from.x) * x_ + (y - from.y) * y_; }
    double beside(POINTL from, double x, double y) const { return (x - from.x) * y_ - (y - from.y) * x_; }

private:
    double x_, y_;
    bool right_;
};

class RunBuilder {
public:
    RunBuilder(const Baseline& baseline, bool vertical) : baseline_(baseline), vertical_(vertical) {}

    // False when the glyph begins another run.
    bool add(const PlacedGlyph& glyph) {
        std::optional<POINTL> origin = nearest(glyph.x, glyph.y);
        if (!run_.glyphs.empty()) {
            if ((glyph.character != 0) != run_.by_character) return false;
            origin = baseline_.is_right_angled() ? level_origin(*origin) : slanted_origin(glyph, *origin);
            if (!origin) return false;
        }
        run_.by_character = glyph.character != 0;
        run_.off_baseline |= !run_.origins.empty() && is_beside(run_.origins.front(), *origin);
        run_.glyphs.push_back(glyph);
        run_.origins.push_back(*origin);
        return true;
    }
    TextRun take() {
        told_ = 0;
        return std::exchange(run_, {});
    }

private:
    bool is_beside(POINTL first, POINTL at) const {
        return baseline_.is_right_angled() && std::abs(baseline_.beside(first, at.x, at.y)) >= 0.5;
    }

    std::optional<POINTL> level_origin(POINTL at) const {
        const double advance = baseline_.along(run_.origins.back(), at.x, at.y);
        const double offset = std::abs(baseline_.beside(run_.origins.front(), at.x, at.y));
        const bool fits = offset < (vertical_ ? kFarthestOffset : 0.5) && advance > -0.5;
        return fits && advance <= kLongestAdvance ? std::optional(at) : std::nullopt;
    }

    // The driver rounds the distance of origins that are rounded themselves: of the pixels about the glyph's place,
    // one whose distance makes the advances add up.
    std::optional<POINTL> slanted_origin(const PlacedGlyph& glyph, POINTL at) {
        constexpr double kBeside = 0.8;  // pixels
        const POINTL first = run_.origins.front(), last = run_.origins.back();
        const double wanted = std::round(baseline_.along(first, glyph.x, glyph.y) - told_);
        if (std::abs(baseline_.beside(first, glyph.x, glyph.y)) > kBeside || wanted < 0 || wanted > kLongestAdvance) {
            return std::nullopt;
        }
        constexpr LONG kNear[] = {0, 1, -1, 2, -2};
        for (LONG down : kNear) {
            for (LONG right : kNear) {
                const POINTL there = {at.x + right, at.y + down};
                if (std::round(std::hypot(there.x - last.x, there.y - last.y)) != wanted) continue;
                told_ += wanted;
                return there;
            }
        }
        return std::nullopt;
    }

    const Baseline& baseline_;
    const bool vertical_;
    TextRun run_ = {};
    double told_ = 0;  // of a slanted baseline, from the first origin to the last
};

// The order in which glyphs of one colour are drawn does not show. Two that go back may be a letter and its accent.
void turn_backward_texts(std::vector<PlacedGlyph>& glyphs, const Baseline& baseline) {
    constexpr ptrdiff_t kFewest = 3;
    for (auto first = glyphs.begin(); first != glyphs.end();) {
        auto end = std::adjacent_find(first, glyphs.end(), [&](const PlacedGlyph& before, const PlacedGlyph& glyph) {
            const POINTL last = nearest(before.x, before.y);
            return baseline.along(last, glyph.x, glyph.y) > -0.5 ||
                   std::abs(baseline.beside(last, glyph.x, glyph.y)) > 1;
        });
        if (end != glyphs.end()) ++end;
        if (end - first >= kFewest) std::reverse(first, end);
        first = end;
    }
}

}  // namespace

std::vector<TextRun> split_runs(std::vector<PlacedGlyph> glyphs, double degrees, bool vertical) {
    const Baseline baseline(degrees);
    turn_backward_texts(glyphs, baseline);
    RunBuilder builder(baseline, vertical);
    std::vector<TextRun> runs;
    for (const PlacedGlyph& glyph : glyphs) {
        if (builder.add(glyph)) continue;
        runs.push_back(builder.take());
        builder.add(glyph);
    }
    if (!glyphs.empty()) runs.push_back(builder.take());
    return runs;
}

}  // namespace kvprint
