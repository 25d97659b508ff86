#include "record/raster_ops.h"

#include <iterator>

namespace kv {

BYTE ternary_of(BYTE rop2) {
    static constexpr BYTE kTernary[] = {0x00, 0x00, 0x05, 0x0A, 0x0F, 0x50, 0x55, 0x5A, 0x5F,
                                        0xA0, 0xA5, 0xAA, 0xAF, 0xF0, 0xF5, 0xFA, 0xFF};
    return rop2 < std::size(kTernary) ? kTernary[rop2] : kTernary[R2_COPYPEN];
}

bool IsRopNoOp(BYTE rop3, BrushId brush) {
    const bool null_brush = brush == kNoBrush || brush == kNullBrush;
    if (uses_pattern(rop3) && null_brush) return true;
    switch (rop3) {
        case 0x5A:  // pattern XOR destination
        case 0xFA:  // pattern OR destination
            return is_black(brush);
        case 0xA0:  // pattern AND destination
            return is_white(brush);
        case kRopDestination:
            return true;
        default:
            return false;
    }
}

}  // namespace kv
