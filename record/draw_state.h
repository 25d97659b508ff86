#pragma once
// The drawing attributes of one call, and the drawing state that the job's reader keeps from record to record.

#include "record/brush.h"

namespace kv {

// Presence bits, also the change mask of a drawing state record.
enum : WORD {
    kAttrFillMode = 0x02,
    kAttrFillRop = 0x04,
    kAttrFillBrush = 0x08,
    kAttrStyleMask = 0x10,
    kAttrNarrowWidth = 0x20,
    kAttrStrokeRop = 0x40,
    kAttrStrokeBrush = 0x80,
    kAttrDashes = 0x400,
    kAttrGeometric = 0x800,
    kAttrWidth = 0x1000,
    kAttrMiter = 0x2000,
    kAttrJoin = 0x4000,
    kAttrEndCap = 0x8000,
};

inline constexpr DWORD kMaxDashes = 255;
enum : BYTE { kFillAlternate = 1, kFillWinding = 2 };

struct DrawAttrs {
    WORD presence = 0;
    BYTE end_cap = ENDCAP_ROUND;
    BYTE join = JOIN_ROUND;
    FLOAT miter_limit = 10.0f;
    WORD width = 1;  // device pixels, never 0
    BrushId stroke_brush = kBlackBrush;
    BYTE stroke_rop = R2_COPYPEN;
    BYTE narrow_width = 1;  // in the device's state: the width last sent in one byte
    BYTE style_mask = 0;    // gaps in 8 steps of the line style
    BrushId fill_brush = kWhiteBrush;
    BYTE fill_rop = R2_COPYPEN;
    BYTE fill_mode = kFillWinding;
    BYTE geometric = 0;
    BYTE dash_count = 0;
    WORD dashes[kMaxDashes] = {};  // the first dash_count count

    bool has(WORD bits) const { return (presence & bits) == bits; }
};

// Fills the line fields. Lengths of geometric lines are world units, which the transform takes to device pixels.
void SetLineAttrs(const LINEATTRS& line, XFORMOBJ* transform, DrawAttrs& attrs);

// Writes what differs from the device's current state, and makes it current. FALSE when a write failed.
BOOL WriteDrawState(Document& document, const DrawAttrs& attrs);

// Which operation a stroke is drawn with: its own, or in a stroke-and-fill call the fill's.
enum class StrokeMix { Own, Fill };
bool StyleDrawsSomething(const DrawAttrs& attrs);
bool IsStrokeInvisible(const DrawAttrs& attrs, StrokeMix mix);
bool IsFillInvisible(const DrawAttrs& attrs);
// The drawing paints white or nothing.
bool draws_only_white(const DrawAttrs& attrs);

}  // namespace kv
