#pragma once
// Raster operations and what they do with solid brushes.

#include "record/brush.h"

namespace kv {

// Ternary operations, each the byte that says its result for pattern, source and destination.
enum : BYTE {
    kRopBlackness = 0x00,
    kRopNotPatternCopy = 0x0F,
    kRopXor = 0x66,  // of source and destination
    kRopAnd = 0x88,
    kRopDestination = 0xAA,
    kRopSourceCopy = 0xCC,
    kRopPatternCopy = 0xF0,
    kRopWhiteness = 0xFF,
};

// The ternary operation of a binary one (R2_*); copy pen for values that are none.
BYTE ternary_of(BYTE rop2);

inline bool reads_destination(BYTE rop3) { return (((rop3 >> 1) ^ rop3) & 0x55) != 0; }
inline bool uses_source(BYTE rop3) { return (((rop3 >> 2) ^ rop3) & 0x33) != 0; }
inline bool uses_pattern(BYTE rop3) { return (rop3 >> 4) != (rop3 & 0x0F); }

// Drawing with this operation and brush leaves the destination as it is.
bool IsRopNoOp(BYTE rop3, BrushId brush);

}  // namespace kv
