#pragma once
// Text records: the characters or glyph indices of a run, where it starts, and the way from each glyph to the next.

#include "record/realized_font.h"

namespace kv {

struct Document;

inline constexpr DWORD kMostGlyphs = 255;  // of one record, which counts them in a byte

struct TextRun {
    const TextLayout* layout;
    const RECTL* opaque;  // painted behind the run, or null
    DWORD count;
    const WCHAR* characters;  // count units, or null
    const WORD* glyphs;       // count indices, or null
    const POINTL* positions;  // count origins and the end position, device pixels
    bool off_baseline;        // the glyphs may lie beside the baseline through the first one
};

// Records at most 255 glyphs. TRUE also when there is nothing to write.
BOOL WriteTextRecord(Document& document, const TextRun& run);

}  // namespace kv
