#pragma once
// The path escapes: the drawing calls between BEGIN_PATH and END_PATH describe a path, which is then drawn or clips.

#include "platform/ddi.h"

namespace kv {

struct Document;

// What a path that ends is drawn with, as applications lay it out (PATHINFO): a render mode (16 bits), a fill mode and
// a background mode (8 bits each), a pen (style, width, height, colour) and a brush (style, colour, hatch) of 32 bits
// each. A 64-bit application's brush begins 4 bytes further on, and its hatch takes 64 bits.
inline constexpr ULONG kPathInfoSize = 32, kPathInfoSize64 = 40;

// Captures paths from here on. Nests.
void begin_path(Document& document);
// Saves, restores or records the captured path as a clip (CLIP_SAVE 0, CLIP_RESTORE 1, CLIP_INCLUSIVE 2). FALSE for
// other modes, when nothing is saved, when there is no room to save more, and when a write failed.
BOOL clip_to_path(Document& document, WORD mode);
// Ends the innermost path and draws what was captured. Without input, or a path, nothing is drawn: FALSE; also when a
// write failed or no page is open. What was to be drawn is freed in every case.
BOOL end_path(Document& document, const BYTE* info, ULONG size);

}  // namespace kv
