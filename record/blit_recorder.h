#pragma once
// Transfers turned into records: filled rectangles and images.

#include "platform/ddi.h"
#include "record/brush.h"

namespace kv {

struct PDEVICE;

// What an image is drawn from and to. Pointers may be null, but for the surface.
struct Blit {
    CLIPOBJ* clip = nullptr;
    const SURFOBJ* surface = nullptr;
    XLATEOBJ* translation = nullptr;
    RECTL source = {};       // pixels of the surface
    RECTL destination = {};  // device pixels; inverted when the image is mirrored
};

// All are TRUE also when the transfer cannot change the page and nothing is written.
BOOL RecordBlit(PDEVICE& device, const Blit& blit, BRUSHOBJ* brush, BYTE rop, const SURFOBJ* mask);
BOOL RecordAlphaBlend(PDEVICE& device, const Blit& blit, BLENDFUNCTION blend);
// Pixels of the colour, an index or in the engine's order, are not drawn.
BOOL RecordTransparentBlit(PDEVICE& device, const Blit& blit, ULONG color);
BOOL RecordRectFill(PDEVICE& device, CLIPOBJ* clip, const RECTL& rect, BrushId brush, BYTE rop);

}  // namespace kv
