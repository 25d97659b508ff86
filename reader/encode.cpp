#include "reader/encode.h"

#include <bit>

namespace kvjob {

Writer& Writer::rect(const Rect& r, bool wide) {
    const bool nothing = !wide && r == kEmptyRect;
    const Rect written = nothing ? Rect{INT16_MAX, INT16_MAX, INT16_MIN, INT16_MIN} : r;
    for (const int32_t edge : {written.left, written.top, written.right, written.bottom}) coordinate(edge, wide);
    return *this;
}

std::vector<uint8_t> encoded(const DrawState& state) {
    Writer out;
    const uint16_t changed = state.changed;
    out.u16(changed);
    if (changed & kEndCap) out.u8(state.end_cap);
    if (changed & kJoin) out.u8(state.join);
    if (changed & kMiter) out.u32(std::bit_cast<uint32_t>(state.miter));
    if (changed & kWideWidth) out.u16(state.width);
    if (changed & kStrokeBrush) out.u32(state.stroke_brush);
    if (changed & kStrokeRop) out.u8(state.stroke_rop);
    if (changed & kNarrowWidth) out.u8(state.width);
    if (changed & kStyleMask) out.u8(state.style_mask);
    if (changed & kFillBrush) out.u32(state.fill_brush);
    if (changed & kFillRop) out.u8(state.fill_rop);
    if (changed & kFillMode) out.u8(state.fill_mode);
    if (changed & kGeometric) out.u8(state.geometric);
    if (changed & kDashes) {
        out.u8(static_cast<uint32_t>(state.dashes.size()));
        for (const uint16_t dash : state.dashes) out.u16(dash);
    }
    return out.bytes();
}

std::vector<uint8_t> encoded(const TextState& state) {
    Writer out;
    out.u8(state.changed);
    if (state.changed & kFont) out.u32(state.font);
    if (state.changed & kTextColour) out.u32(state.colour);
    if (state.changed & kBackColour) out.u32(state.background);
    if (state.changed & kCodePage) out.u32(state.code_page);
    if (state.changed & kBackMode) out.u8(state.mode);
    return out.bytes();
}

std::vector<uint8_t> encoded(const Summary& summary) {
    constexpr uint16_t kFormatLevel = 5;
    const bool wide = summary.wide;
    Writer out;
    out.u16(kFormatLevel).u32(summary.flags).u32(summary.largest_record);
    out.u32(summary.brushes).u32(summary.fonts).u32(summary.font_files);
    out.u32(summary.largest_entry).u32(summary.largest_clip).u16(summary.resolution);
    out.rect(summary.portrait, wide).rect(summary.landscape, wide).u32(static_cast<uint32_t>(summary.pages.size()));
    for (const IndexedPage& page : summary.pages) {
        out.u32(page.position).u16(page.paper).u8(page.orientation).u8(page.flags);
        out.coordinate(page.width, wide).coordinate(page.height, wide);
        out.rect(page.printable, wide).rect(page.marks, wide);
    }
    return out.bytes();
}

}  // namespace kvjob
