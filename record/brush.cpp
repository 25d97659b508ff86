#include "record/brush.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "record/document.h"
#include "record/record_types.h"
#include "record/surface_dib.h"
#include "support/assert.h"
#include "support/process_state.h"
#include "support/trace.h"

namespace kv {
namespace {

constexpr ULONG kNotSolid = 0xFFFFFFFF;

BrushId solid_id(DWORD colour) {
    KV_ASSERT(colour <= 0xFFFFFF);
    BrushId stock = kStockBrush;
    for (DWORD stock_colour : kStockColours) {
        if (colour == stock_colour) return stock;
        ++stock;
    }
    return kSolidBrush + colour;
}

// What makes two brushes equal: everything behind the identifier.
std::span<const BYTE> content_of(const RealizedBrush& brush) {
    constexpr size_t kStart = offsetof(RealizedBrush, kind);
    KV_ASSERT(brush.kind == BrushKind::Hatched || brush.kind == BrushKind::Pattern);
    return {reinterpret_cast<const BYTE*>(&brush) + kStart, realized_brush_size(brush) - kStart};
}

BYTE* pattern_of(RealizedBrush& brush) { return reinterpret_cast<BYTE*>(&brush + 1); }

// Enough for the pattern as it stands and with its colours reduced to a table.
uint64_t pattern_room(BITMAPINFOHEADER header) {
    if (header.biBitCount <= 8) return dib_size(header);
    header.biCompression = BI_BITFIELDS;
    const uint64_t full = dib_size(header);
    header.biCompression = BI_RGB;
    header.biBitCount = 8;
    return std::max(full, dib_size(header));
}

// Behind the realised brush, where there are `room` bytes.
BOOL realize_pattern(Document& document, const SURFOBJ& surface, XLATEOBJ* translation, RealizedBrush& brush,
                     uint64_t room) {
    const RECTL whole = {0, 0, surface.sizlBitmap.cx, surface.sizlBitmap.cy};
    SurfaceRequest request = {.surface = &surface};
    request.translation = translation;
    request.source = request.destination = whole;
    SurfaceImage image;
    if (!ConvertSurfaceToDib(document, request, image)) return FALSE;
    const DibView dib = image.view();
    if (dib_size(*dib.header) > room) return KV_FAIL(Record, "a pattern of more bytes than its surface suggests");
    const auto head_size = static_cast<size_t>(dib_head_size(*dib.header));
    KV_ASSERT(head_size + dib_bits_size(*dib.header) <= room);
    brush.kind = BrushKind::Pattern;
    std::memcpy(pattern_of(brush), dib.header, head_size);
    std::memcpy(pattern_of(brush) + head_size, dib.bits, static_cast<size_t>(dib_bits_size(*dib.header)));
    return TRUE;
}

void realize_colors(const BRUSHOBJ& brush, XLATEOBJ* translation, ULONG hatch, RealizedBrush& realized) {
    if (brush.iSolidColor != kNotSolid) {
        realized.colour = swap_red_and_blue(brush.iSolidColor);
    } else if (hatch < HS_DDI_MAX) {
        realized.kind = BrushKind::Hatched;
        realized.colour = swap_red_and_blue(XLATEOBJ_iXlate(translation, 1));
        realized.hatch = hatch;
        realized.background = swap_red_and_blue(XLATEOBJ_iXlate(translation, 0));
    } else {
        realized.colour = 0xFFFFFF;
    }
}

}  // namespace

DWORD realized_brush_size(const RealizedBrush& brush) {
    if (brush.kind != BrushKind::Pattern) return sizeof(RealizedBrush);
    BITMAPINFOHEADER header;
    std::memcpy(&header, &brush + 1, sizeof header);
    return static_cast<DWORD>(sizeof(RealizedBrush) + dib_size(header));
}

BrushId ResolveBrush(Document& document, BRUSHOBJ* brush) {
    if (!brush) return kNullBrush;
    if (brush->iSolidColor != kNotSolid) {
        RealizedBrush solid = {kNoBrush, BrushKind::Solid, swap_red_and_blue(brush->iSolidColor), 0, 0};
        return ResolveRealizedBrush(document, solid);
    }
    auto* realized = static_cast<RealizedBrush*>(BRUSHOBJ_pvGetRbrush(brush));
    if (realized) return ResolveRealizedBrush(document, *realized);
    KV_FAIL(Record, "the engine realizes no brush at position %u", static_cast<unsigned>(document.position));
    return kNullBrush;
}

BrushId ResolveRealizedBrush(Document& document, RealizedBrush& brush) {
    if (brush.kind == BrushKind::Solid) return brush.id = solid_id(brush.colour);
    if (BrushId known = document.brushes.find(content_of(brush), brush.id)) {
        KV_TRACE(Record, Info, "brush %X is reused", static_cast<unsigned>(known));
        return brush.id = known;
    }
    ++document.statistics.brushes;
    if (!document.pending.flush(document)) {
        document.SetFailed();  // what was held back is lost
        return kNullBrush;
    }
    brush.id = document.new_identifier(process_state().brush_ids);
    if (!document.WriteRecord(kRecordBrush, realized_brush_size(brush), &brush)) return kNullBrush;
    KV_TRACE(Record, Info, "brush %X of kind %u, %u bytes", static_cast<unsigned>(brush.id),
             static_cast<unsigned>(brush.kind), static_cast<unsigned>(realized_brush_size(brush)));
    document.brushes.add(content_of(brush), brush.id);
    return brush.id;
}

BOOL realize_brush(Document& document, BRUSHOBJ* brush, const SURFOBJ* pattern, XLATEOBJ* translation, ULONG hatch) {
    BITMAPINFOHEADER header;
    const bool patterned =
        brush->iSolidColor == kNotSolid && hatch >= HS_DDI_MAX && pattern && describe_surface(*pattern, header);
    const uint64_t room = patterned ? pattern_room(header) : 0;
    if (room > kMaxDibSize - sizeof(RealizedBrush)) return KV_FAIL(Record, "a pattern of 2 GiB");
    const auto size = static_cast<ULONG>(sizeof(RealizedBrush) + room);
    auto* realized = static_cast<RealizedBrush*>(BRUSHOBJ_pvAllocRbrush(brush, size));
    if (!realized) return KV_FAIL(Record, "the engine has no %u bytes for a brush", static_cast<unsigned>(size));
    std::memset(realized, 0, size);
    if (patterned) return realize_pattern(document, *pattern, translation, *realized, room);
    realize_colors(*brush, translation, hatch, *realized);
    return TRUE;
}

}  // namespace kv
