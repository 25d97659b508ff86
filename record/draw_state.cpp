#include "record/draw_state.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "record/document.h"
#include "record/raster_ops.h"
#include "record/record_types.h"
#include "support/assert.h"

namespace kv {
namespace {

// Calls visit(presence bit, member) for every field of fixed size, in the order of the record. The dashes stand behind.
template <class Visit>
void for_each_field(Visit visit) {
    visit(kAttrEndCap, &DrawAttrs::end_cap);
    visit(kAttrJoin, &DrawAttrs::join);
    visit(kAttrMiter, &DrawAttrs::miter_limit);
    visit(kAttrWidth, &DrawAttrs::width);
    visit(kAttrStrokeBrush, &DrawAttrs::stroke_brush);
    visit(kAttrStrokeRop, &DrawAttrs::stroke_rop);
    visit(kAttrNarrowWidth, &DrawAttrs::narrow_width);
    visit(kAttrStyleMask, &DrawAttrs::style_mask);
    visit(kAttrFillBrush, &DrawAttrs::fill_brush);
    visit(kAttrFillRop, &DrawAttrs::fill_rop);
    visit(kAttrFillMode, &DrawAttrs::fill_mode);
    visit(kAttrGeometric, &DrawAttrs::geometric);
}

// Takes over the fields of a call one by one and notes which ones changed.
class StateUpdate {
public:
    StateUpdate(const DrawAttrs& call, DrawAttrs& current) : call_(call), current_(current) {}

    template <class Field>
    void field(WORD bit, Field DrawAttrs::*member) {
        if (bit == kAttrWidth) return width();
        if (!call_.has(bit) || (current_.has(bit) && current_.*member == call_.*member)) return;
        current_.*member = call_.*member;
        changed_ |= bit;
    }

    void dashes() {
        if (!call_.has(kAttrDashes)) return;
        const size_t bytes = call_.dash_count * sizeof(WORD);
        if (current_.has(kAttrDashes) && current_.dash_count == call_.dash_count &&
            std::memcmp(current_.dashes, call_.dashes, bytes) == 0) {
            return;
        }
        KV_ASSERT(call_.dash_count <= kMaxDashes);
        current_.dash_count = call_.dash_count;
        std::memcpy(current_.dashes, call_.dashes, bytes);
        changed_ |= kAttrDashes;
    }

    WORD finish() {
        current_.presence = static_cast<WORD>((current_.presence | changed_) & ~forgotten_);
        return changed_;
    }

private:
    // A width goes out in one byte where it fits; the reader then knows only that form of it.
    void width() {
        if (!call_.has(kAttrWidth)) return;
        const WORD wanted = call_.width;
        if (current_.has(kAttrNarrowWidth) && current_.narrow_width == wanted) return;
        if (current_.has(kAttrWidth) && current_.width == wanted) return;
        const bool narrow = wanted <= 255;
        changed_ |= narrow ? kAttrNarrowWidth : kAttrWidth;
        forgotten_ = narrow ? kAttrWidth : kAttrNarrowWidth;
        current_.width = wanted;
        current_.narrow_width = static_cast<BYTE>(wanted);
    }

    const DrawAttrs& call_;
    DrawAttrs& current_;
    WORD changed_ = 0, forgotten_ = 0;
};

void put(ByteWriter& out, BYTE value) { out.u8(value); }
void put(ByteWriter& out, WORD value) { out.u16(value); }
void put(ByteWriter& out, DWORD value) { out.u32(value); }
void put(ByteWriter& out, FLOAT value) { out.f32(value); }

void put_state(ByteWriter& out, WORD changed, const DrawAttrs& state) {
    out.u16(changed);
    for_each_field([&](WORD bit, auto member) {
        if (changed & bit) put(out, state.*member);
    });
    if (changed & kAttrDashes) {
        out.u8(state.dash_count);
        for (size_t i = 0; i < state.dash_count; ++i) out.u16(state.dashes[i]);
    }
}

// The solid colour that an operation with a brush puts down, where it is a known one.
std::optional<DWORD> painted_colour(BYTE rop2, BrushId brush) {
    constexpr DWORD kBlack = 0, kWhite = 0xFFFFFF;
    switch (rop2) {
        case R2_BLACK:
            return kBlack;
        case R2_WHITE:
            return kWhite;
        case R2_COPYPEN:
            if (brush >= kStockBrush && brush <= kBlackBrush) return kStockColours[brush - kStockBrush];
            if ((brush & 0xFF000000) == kSolidBrush) return brush & 0xFFFFFF;
            return std::nullopt;
        case R2_NOTCOPYPEN:
            if (is_black(brush)) return kWhite;
            if (is_white(brush)) return kBlack;
            return std::nullopt;
        default:
            return std::nullopt;
    }
}

bool paints_white(BYTE rop2, BrushId brush) { return painted_colour(rop2, brush) == 0xFFFFFFu; }

}  // namespace

BOOL WriteDrawState(Document& document, const DrawAttrs& attrs) {
    StateUpdate update(attrs, document.draw_state);
    for_each_field([&](WORD bit, auto member) { update.field(bit, member); });
    update.dashes();
    const WORD changed = update.finish();
    if (!changed) return TRUE;

    const DrawAttrs& state = document.draw_state;
    if (((changed & kAttrStrokeRop) && reads_destination(ternary_of(state.stroke_rop))) ||
        ((changed & kAttrFillRop) && reads_destination(ternary_of(state.fill_rop)))) {
        document.mark_page(kPageReadsDestination);
    }
    BYTE body[2 + sizeof(DrawAttrs)];
    ByteWriter out(body);
    put_state(out, changed, state);
    KV_ASSERT(out.size() > 2 && !out.overflowed() && (state.presence & changed) == changed);
    return document.WriteRecord(kRecordDrawState, static_cast<DWORD>(out.size()), out.data());
}

bool StyleDrawsSomething(const DrawAttrs& attrs) {
    return (attrs.has(kAttrStyleMask) && attrs.style_mask != 0xFF) || (attrs.has(kAttrDashes) && attrs.dash_count > 0);
}

bool IsStrokeInvisible(const DrawAttrs& attrs, StrokeMix mix) {
    const bool fill_mix = mix == StrokeMix::Fill;
    if (!attrs.has(kAttrStrokeBrush) || !attrs.has(fill_mix ? kAttrFillRop : kAttrStrokeRop)) return false;
    BYTE rop = fill_mix ? attrs.fill_rop : attrs.stroke_rop;
    return IsRopNoOp(ternary_of(rop), attrs.stroke_brush) || !StyleDrawsSomething(attrs);
}

bool IsFillInvisible(const DrawAttrs& attrs) {
    return attrs.has(kAttrFillRop | kAttrFillBrush) && IsRopNoOp(ternary_of(attrs.fill_rop), attrs.fill_brush);
}

bool draws_only_white(const DrawAttrs& attrs) {
    // What is absent draws nothing: the operation that leaves the destination, with the null brush.
    const BYTE stroke_rop = attrs.has(kAttrStrokeRop) ? attrs.stroke_rop : static_cast<BYTE>(R2_NOP);
    const BrushId stroke = attrs.has(kAttrStrokeBrush) ? attrs.stroke_brush : kNullBrush;
    const BYTE fill_rop = attrs.has(kAttrFillRop) ? attrs.fill_rop : static_cast<BYTE>(R2_NOP);
    const BrushId fill = attrs.has(kAttrFillBrush) ? attrs.fill_brush : kNullBrush;
    const bool stroke_white =
        IsRopNoOp(ternary_of(stroke_rop), stroke) || !StyleDrawsSomething(attrs) || paints_white(stroke_rop, stroke);
    return stroke_white && (IsRopNoOp(ternary_of(fill_rop), fill) || paints_white(fill_rop, fill));
}

}  // namespace kv
