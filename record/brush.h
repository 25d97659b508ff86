#pragma once
// Brushes: the 32-bit references by which drawing names them, and their definitions in the job.

#include "platform/ddi.h"
#include "support/memory.h"
#include "support/process_state.h"

namespace kv {

struct Document;

// A stock brush, a solid colour, or the identifier of a definition earlier in the job.
using BrushId = DWORD;
inline constexpr BrushId kNoBrush = 0;
inline constexpr BrushId kStockBrush = 0x80000000;  // + kStock*
inline constexpr BrushId kSolidBrush = 0x40000000;  // + 0x00BBGGRR
inline constexpr DWORD kStockColours[] = {0xFFFFFF, 0xC0C0C0, 0x808080, 0x404040,
                                          0x000000};  // then comes the null brush
inline constexpr BrushId kWhiteBrush = kStockBrush + 0, kBlackBrush = kStockBrush + 4, kNullBrush = kStockBrush + 5;
// Identifiers of definitions: the record's position while that lies below, else a counter's value.
inline constexpr DWORD kPositionIdentifier = 0x20000000;
static_assert(kPositionIdentifier == IdCounter::kLargest + 1 && 2 * kPositionIdentifier == kSolidBrush);

inline bool is_white(BrushId brush) { return brush == kWhiteBrush || brush == kSolidBrush + 0xFFFFFF; }
inline bool is_black(BrushId brush) { return brush == kBlackBrush || brush == kSolidBrush; }

// Between the engine's order of colours (blue low) and the job's (red low). The top byte is dropped.
inline DWORD swap_red_and_blue(DWORD colour) {
    return (colour & 0xFF) << 16 | (colour & 0xFF00) | (colour >> 16 & 0xFF);
}

enum class BrushKind : DWORD { Solid = 0, Hatched = 2, Pattern = 5 };

// What DrvRealizeBrush builds in the engine's memory, and the body of a brush definition record.
struct RealizedBrush {
    BrushId id;  // 0 until resolved
    BrushKind kind;
    DWORD colour;  // solid, or the hatch's foreground
    DWORD hatch;   // HS_*, kind Hatched only
    DWORD background;
    // kind Pattern: a packed device-independent bitmap follows
};
static_assert(sizeof(RealizedBrush) == 20);

// The size of a realised brush with what follows it, bytes.
DWORD realized_brush_size(const RealizedBrush& brush);

// The reference of an engine brush: kNullBrush for none, and when the brush cannot be introduced.
BrushId ResolveBrush(Document& document, BRUSHOBJ* brush);
// Introduces the brush with a record the first time it is seen in the job, and stores its identifier in it.
BrushId ResolveRealizedBrush(Document& document, RealizedBrush& brush);

// Fills the engine's memory for a brush. pattern: of a pattern brush, or null. FALSE when there is no memory to be had
// and for patterns that cannot be converted or take more room than their surface suggests.
BOOL realize_brush(Document& document, BRUSHOBJ* brush, const SURFOBJ* pattern, XLATEOBJ* translation, ULONG hatch);

}  // namespace kv
