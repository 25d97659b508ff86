#pragma once
// The records that carry bitmaps. Rectangles: `source` in the bitmap's pixels, `destination` in device pixels; they are
// written as given, with 16-bit coordinates when all of them fit. All return FALSE when a write failed or memory is
// out.

#include "image/dib.h"
#include "platform/ddi.h"

namespace kv {

struct Document;

// Drawn with a ternary raster operation.
BOOL WriteBitmapRecord(Document& document, BYTE rop, const RECTL& source, const RECTL& destination,
                       const DibView& image);
// These two also make the clip current and add to the page's ink.
BOOL WriteAlphaBlendRecord(Document& document, CLIPOBJ* clip, BLENDFUNCTION blend, const RECTL& source,
                           const RECTL& destination, const DibView& image);
// Pixels of the colour (0x00BBGGRR) are not drawn.
BOOL WriteTransparentRecord(Document& document, CLIPOBJ* clip, DWORD color, const RECTL& source,
                            const RECTL& destination, const DibView& image);
// Only pixels where the mask is 1 are drawn.
BOOL WriteMaskedRecord(Document& document, const RECTL& source, const RECTL& destination, const DibView& image,
                       const DibView& mask);
// A bitmap within a record: head and bits, where entries of the colour table that no pixel uses are written as 0.
BOOL WriteDib(Document& document, const DibView& image);

}  // namespace kv
