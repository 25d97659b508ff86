#pragma once
// What happens to a bitmap before it is encoded: fewer colours, fewer pixels. The source is never modified; a step
// writes a new packed bitmap into `result`, or returns FALSE with none in it (unsupported, no gain, memory out). The
// source must not be a view of `result`.

#include "image/dib.h"
#include "settings/device_mode.h"

namespace kv {

// Both steps as the settings ask. `resolution` is the source's effective resolution in dots per inch, 0 when unknown.
// Returns what is to be encoded: the source itself, or a view of `result`, which owns the new bitmap. Never fails.
DibView PrepareBitmap(const PrivateDevMode& settings, const DibView& source, LONG resolution, PackedDib& result);

// The fewest bits per pixel (1, 4, 8 or 24) that hold the colours used, without loss. Sources: plain rows of 4, 8, 16,
// 24 or 32 bits. TRUE when the depth shrinks, and always for 16 bits.
BOOL ReduceColorDepth(const DibView& source, PackedDib& result);

// Area averaging. 1 bit stays 1 bit with its two colours: lines of a pixel stay, and halftones keep their darkness.
// Gray ramps stay gray, everything else becomes 24 bits; 32 bits whose alpha is kept stay 32 bits with the source's
// compression and the masks 0xFF0000, 0xFF00 and 0xFF. TRUE when the result is smaller in bytes, head included.
// Top-down bitmaps are left alone.
BOOL DownsampleDib(const DibView& source, LONG source_resolution, LONG target_resolution, PackedDib& result,
                   Alpha alpha = Alpha::Drop);

// FALSE, and sizes unchanged, unless both sizes shrink by at least 2 pixels and stay above 0.
BOOL ScaledSize(LONG width, LONG height, LONG source_resolution, LONG target_resolution, LONG* new_width,
                LONG* new_height);

}  // namespace kv
