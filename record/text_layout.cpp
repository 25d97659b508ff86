#include "record/text_layout.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "support/assert.h"

namespace kv {
namespace {

struct Vector {
    double x, y;
    double length() const { return std::hypot(x, y); }
};

Vector transformed(const XFORML& m, double x, double y) { return {x * m.eM11 + y * m.eM21, x * m.eM12 + y * m.eM22}; }

// Half away from zero. What no pixel can have is cut off, and what is no number is 0.
LONG rounded(double value) {
    constexpr double kMost = 2147483647.0;
    if (std::isnan(value)) return 0;
    return static_cast<LONG>(std::lround(std::clamp(value, -kMost, kMost)));
}

bool is_stretched(const XFORML& m) {
    constexpr double kRounding = 1e-5;
    auto differ = [](double a, double b) { return std::fabs(std::fabs(a) - std::fabs(b)) >= kRounding; };
    return differ(m.eM11, m.eM22) || differ(m.eM12, m.eM21);
}

// Counter-clockwise on a page whose y axis points down, 0 to 3599.
LONG tenths_of_degree(const XFORML& m) {
    constexpr LONG kTurn = 3600;  // tenths of a degree
    const double angle = std::atan2(-static_cast<double>(m.eM12), static_cast<double>(m.eM11));
    const LONG tenths = rounded(angle * (kTurn / 2.0) / std::numbers::pi);
    KV_ASSERT(tenths >= -kTurn / 2 && tenths <= kTurn / 2);
    return (tenths + kTurn) % kTurn;
}

void set_direction(TextLayout& layout, LONG escapement) {
    KV_ASSERT(escapement >= 0 && escapement < 3600);
    constexpr double kPi = std::numbers::pi;
    auto set = [&](Orientation orientation, double angle, FLOAT sine, FLOAT cosine) {
        layout.orientation = orientation;
        layout.angle = static_cast<FLOAT>(angle);
        layout.sine = sine;
        layout.cosine = cosine;
    };
    auto is_near = [&](LONG tenths) { return std::abs(escapement - tenths) < 10; };
    if (escapement < 10 || escapement > 3590) return set(Orientation::Level, 0, 0, 1);
    if (is_near(900)) return set(Orientation::Up, kPi / 2, 1, 0);
    if (is_near(1800)) return set(Orientation::Reversed, kPi, 0, -1);
    if (is_near(2700)) return set(Orientation::Down, 3 * kPi / 2, -1, 0);
    const double angle = escapement * 2 * kPi / 3600;
    set(Orientation::Slanted, angle, static_cast<FLOAT>(std::sin(angle)), static_cast<FLOAT>(std::cos(angle)));
    layout.tangent = layout.sine / layout.cosine;
    layout.tangent_squared = layout.tangent * layout.tangent;
}

const GLYPHDATA* glyph_data(FONTOBJ* font, HGLYPH glyph) {
    PVOID data = nullptr;
    return FONTOBJ_cGetGlyphs(font, FO_GLYPHBITS, 1, &glyph, &data) == 1 ? static_cast<const GLYPHDATA*>(data)
                                                                         : nullptr;
}

bool find_glyph(FONTOBJ* font, WCHAR character, HGLYPH& glyph) {
    const FD_GLYPHSET* set = FONTOBJ_pfdg(font);
    if (!set) return false;
    for (ULONG i = 0; i < set->cRuns; ++i) {
        const WCRUN& run = set->awcrun[i];
        if (character < run.wcLow || character - run.wcLow >= run.cGlyphs) continue;
        glyph = run.phg ? run.phg[character - run.wcLow] : character;
        return true;
    }
    return false;
}

LONG space_advance(FONTOBJ* font) {
    HGLYPH space = 0;
    const GLYPHDATA* data = find_glyph(font, ' ', space) ? glyph_data(font, space) : nullptr;
    return data ? data->fxD >> 4 : 0;
}

}  // namespace

void set_size(LOGFONTW& font, const XFORML& transform, const IFIMETRICS& metrics) {
    font.lfHeight = -rounded(transformed(transform, 0, -metrics.fwdUnitsPerEm).length());
    font.lfWidth = is_stretched(transform) ? rounded(transformed(transform, metrics.fwdAveCharWidth, 0).length()) : 0;
    font.lfEscapement = font.lfOrientation = tenths_of_degree(transform);
}

TextLayout make_text_layout(FONTOBJ* font, const IFIMETRICS& metrics, const XFORML& transform, LONG escapement) {
    TextLayout layout;
    auto point = [](Vector vector) { return POINTL{rounded(vector.x), rounded(vector.y)}; };
    layout.em_vector = point(transformed(transform, 0, -metrics.fwdUnitsPerEm));
    layout.average_vector = point(transformed(transform, metrics.fwdAveCharWidth, 0));
    set_direction(layout, escapement);
    layout.space_advance = space_advance(font);
    return layout;
}

LONG rounded_advance(FONTOBJ* font, HGLYPH glyph) {
    const GLYPHDATA* data = glyph_data(font, glyph);
    return data ? ((data->fxD >> 3) + 1) >> 1 : 0;
}

int64_t Baseline::offset(POINTL at) const {
    const int64_t right = int64_t{at.x} - start_.x, up = int64_t{start_.y} - at.y;
    switch (layout_.orientation) {
        case Orientation::Level:
            return up;
        case Orientation::Up:
            return -right;
        case Orientation::Reversed:
            return -up;
        case Orientation::Down:
            return right;
        case Orientation::Slanted:
            break;
    }
    return std::llround((static_cast<double>(up) - static_cast<double>(right) * layout_.tangent) * layout_.cosine);
}

POINTL Baseline::project(POINTL at) const {
    switch (layout_.orientation) {
        case Orientation::Level:
        case Orientation::Reversed:
            return {at.x, start_.y};
        case Orientation::Up:
        case Orientation::Down:
            return {start_.x, at.y};
        case Orientation::Slanted:
            break;
    }
    const double right = static_cast<double>(at.x) - start_.x, up = static_cast<double>(start_.y) - at.y;
    const double along = right * layout_.cosine + up * layout_.sine;
    return {rounded(start_.x + along * layout_.cosine), rounded(start_.y - along * layout_.sine)};
}

int64_t Baseline::advance(POINTL from, POINTL to) const {
    const int64_t right = int64_t{to.x} - from.x, down = int64_t{to.y} - from.y;
    switch (layout_.orientation) {
        case Orientation::Level:
            return right;
        case Orientation::Up:
            return -down;
        case Orientation::Reversed:
            return -right;
        case Orientation::Down:
            return down;
        case Orientation::Slanted:
            break;
    }
    return std::llround(std::hypot(static_cast<double>(right), static_cast<double>(down)));
}

POINTL Baseline::behind(POINTL at, LONG advance) const {
    return {rounded(at.x + static_cast<double>(advance) * layout_.cosine),
            rounded(at.y - static_cast<double>(advance) * layout_.sine)};
}

}  // namespace kv
