// Line attributes of the engine turned into drawing attributes.

#include <algorithm>
#include <cstdlib>

#include "record/draw_state.h"
#include "support/assert.h"

namespace kv {
namespace {

// Truncated toward zero; what no 32-bit integer holds becomes the nearest one.
LONG truncated(FLOATL value) {
    if (!(value > -2147483648.0f)) return value == value ? -0x7FFFFFFF - 1 : 0;
    return value >= 2147483648.0f ? 0x7FFFFFFF : static_cast<LONG>(value);
}

LONG style_entry(const LINEATTRS& line, bool geometric, ULONG i) {
    return geometric ? truncated(line.pstyle[i].e) : line.pstyle[i].l;
}

LONG device_width(LONG width, XFORMOBJ* transform) {
    if (!transform) return width;
    POINTL in[2] = {{0, 0}, {width, width}}, out[2] = {};
    if (!XFORMOBJ_bApplyXform(transform, XF_LTOL, 2, in, out)) return width;
    auto distance = [](LONG a, LONG b) { return static_cast<LONG>(std::abs(LONGLONG{a} - b)); };
    return std::max(distance(out[1].x, out[0].x), distance(out[1].y, out[0].y));
}

// Bit 7 is the first of 8 steps; a set bit is a gap.
BYTE style_mask(const LINEATTRS& line, bool geometric) {
    LONGLONG sum = 0;
    for (ULONG i = 0; geometric && i < line.cstyle; ++i) sum += style_entry(line, true, i);
    if (geometric && sum == 0) return 0;  // a style without length draws a solid line
    DWORD mask = 0;
    LONGLONG position = 0;
    for (ULONG i = 0; i < line.cstyle && position < 8; ++i) {
        LONGLONG length = style_entry(line, geometric, i);
        if (geometric) length = std::max<LONGLONG>(length * 8 / sum, 1);
        length = std::max<LONGLONG>(length, 0);
        if (i % 2) mask |= ((0xFF00u >> std::min<LONGLONG>(length, 16)) & 0xFF) >> position;
        position += length;
    }
    return static_cast<BYTE>(mask);
}

// The masks of the solid, dash, dot, dash-dot, dash-dot-dot and null pens, which need no dash array.
bool is_pen_style(BYTE mask) {
    static constexpr BYTE kPenStyles[] = {0x00, 0x03, 0x55, 0x1B, 0x15, 0xFF};
    return std::find(std::begin(kPenStyles), std::end(kPenStyles), mask) != std::end(kPenStyles);
}

}  // namespace

void SetLineAttrs(const LINEATTRS& line, XFORMOBJ* transform, DrawAttrs& attrs) {
    const bool geometric = line.fl & LA_GEOMETRIC;
    const bool styled = line.pstyle && line.cstyle > 0;
    attrs.presence |= kAttrWidth | kAttrGeometric | kAttrStyleMask;
    attrs.geometric = geometric;
    LONG width = geometric ? device_width(truncated(line.elWidth.e), transform) : line.elWidth.l;
    attrs.width = std::max<WORD>(static_cast<WORD>(width), 1);
    attrs.style_mask = styled ? style_mask(line, geometric) : 0;
    KV_ASSERT(attrs.width >= 1);
    if (geometric) {
        attrs.presence |= kAttrEndCap | kAttrJoin | kAttrMiter;
        attrs.end_cap = static_cast<BYTE>(line.iEndCap);
        attrs.join = static_cast<BYTE>(line.iJoin);
        attrs.miter_limit = line.eMiterLimit;
    } else if (is_pen_style(attrs.style_mask)) {
        return;
    }
    if (!styled) return;
    attrs.presence |= kAttrDashes;
    attrs.dash_count = static_cast<BYTE>(std::min<ULONG>(line.cstyle, kMaxDashes));
    for (ULONG i = 0; i < attrs.dash_count; ++i) {
        attrs.dashes[i] = static_cast<WORD>(style_entry(line, geometric, i));
    }
}

}  // namespace kv
