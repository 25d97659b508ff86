#include "record/text_record.h"

#include <algorithm>

#include "record/document.h"
#include "record/record_types.h"
#include "record/text_layout.h"
#include "support/assert.h"
#include "support/little_endian.h"

namespace kv {
namespace {

enum : BYTE { kHasCharacters = 0x40, kHasGlyphs = 0x20, kHasOpaqueRect = 0x10, kHasOffsets = 0x08 };

struct Placed {
    POINTL positions[kMostGlyphs + 1];
    WORD advances[kMostGlyphs];
    WORD offsets[kMostGlyphs + 1] = {};
    bool has_offsets = false;
};

void put_on_baseline(const Baseline& baseline, DWORD count, Placed& placed) {
    for (DWORD i = 1; i <= count; ++i) {
        const int64_t offset = baseline.offset(placed.positions[i]);
        if (offset == 0) continue;
        placed.has_offsets = true;
        placed.offsets[i] = static_cast<WORD>(offset);
        placed.positions[i] = baseline.project(placed.positions[i]);
    }
}

void place(const TextRun& run, DWORD count, Placed& placed) {
    KV_ASSERT(count > 0 && count <= kMostGlyphs);
    std::copy_n(run.positions, count + 1, placed.positions);
    const Baseline baseline(*run.layout, placed.positions[0]);
    if (run.off_baseline) put_on_baseline(baseline, count, placed);
    for (DWORD i = 0; i < count; ++i) {
        placed.advances[i] = static_cast<WORD>(baseline.advance(placed.positions[i], placed.positions[i + 1]));
    }
}

void put_units(ByteWriter& out, const WORD* units, DWORD count) {
    for (DWORD i = 0; i < count; ++i) out.u16(units[i]);
}

void put_run(ByteWriter& out, const TextRun& run, const RECTL* opaque, DWORD count, const Placed& placed, bool narrow) {
    BYTE flags = 0;
    if (run.characters) flags |= kHasCharacters;
    if (run.glyphs) flags |= kHasGlyphs;
    if (opaque) flags |= kHasOpaqueRect;
    if (placed.has_offsets) flags |= kHasOffsets;
    out.u8(flags);
    out.u8(count);
    if (run.characters) {
        for (DWORD i = 0; i < count; ++i) out.u16(run.characters[i]);
        out.u16(0);
    }
    if (run.glyphs) put_units(out, run.glyphs, count);
    for (LONG coordinate : {placed.positions[0].x, placed.positions[0].y}) {
        narrow ? out.u16(static_cast<uint32_t>(coordinate)) : out.u32(static_cast<uint32_t>(coordinate));
    }
    put_units(out, placed.advances, count);
    if (opaque) narrow ? put_rect16(out, normalized(*opaque)) : put_rect32(out, normalized(*opaque));
    if (placed.has_offsets) put_units(out, placed.offsets, count);
}

}  // namespace

BOOL WriteTextRecord(Document& document, const TextRun& run) {
    if (run.count == 0 || (!run.characters && !run.glyphs)) return TRUE;
    if (!run.positions) return FALSE;
    const DWORD count = std::min(run.count, kMostGlyphs);
    const RECTL* opaque = run.opaque && !is_empty(*run.opaque) ? run.opaque : nullptr;
    Placed placed;
    place(run, count, placed);
    const POINTL& first = placed.positions[0];
    const bool narrow = fits_16_bits(first.x) && fits_16_bits(first.y) && (!opaque || fits_16_bits(*opaque));

    // Flags and count, the end of the characters, a place, a rectangle; characters, glyphs, advances and offsets.
    constexpr size_t kLongest = 2 + 2 + 8 + kRect32Size + 4 * 2 * kMostGlyphs;
    BYTE body[kLongest];
    ByteWriter out(body);
    put_run(out, run, opaque, count, placed, narrow);
    KV_ASSERT(!out.overflowed());
    return document.WriteRecord(narrow ? kRecordText16 : kRecordText32, static_cast<DWORD>(out.size()), out.data());
}

}  // namespace kv
