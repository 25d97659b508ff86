#pragma once
// Transfers turned into records: filled rectangles and images.

#include "platform/ddi.h"
#include "record/brush.h"

namespace kv {

struct Document;

// What an image is drawn from and to. Pointers may be null, but for the surface.
struct Blit {
    CLIPOBJ* clip = nullptr;
    const SURFOBJ* surface = nullptr;
    XLATEOBJ* translation = nullptr;
    RECTL source = {};       // pixels of the surface
    RECTL destination = {};  // device pixels; inverted when the image is mirrored
};

// All are TRUE also when the transfer cannot change the page and nothing is written.
BOOL RecordBlit(Document& document, const Blit& blit, BRUSHOBJ* brush, BYTE rop, const SURFOBJ* mask);
BOOL RecordAlphaBlend(Document& document, const Blit& blit, BLENDFUNCTION blend);
// Pixels of the colour, an index or in the engine's order, are not drawn.
BOOL RecordTransparentBlit(Document& document, const Blit& blit, ULONG color);
BOOL RecordRectFill(Document& document, CLIPOBJ* clip, const RECTL& rect, BrushId brush, BYTE rop);

}  // namespace kv
