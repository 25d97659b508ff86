#include "record/blit_recorder.h"

#include "record/bitmap_writer.h"
#include "record/clip_recorder.h"
#include "record/document.h"
#include "record/path_recorder.h"
#include "record/pending_rect_fill.h"
#include "record/raster_ops.h"
#include "record/surface_dib.h"
#include "support/assert.h"
#include "support/trace.h"

namespace kv {
namespace {

bool draws_nothing(const Blit& blit) {
    const SIZEL size = blit.surface->sizlBitmap;
    return is_empty(normalized(blit.destination)) || is_empty(intersection(blit.source, {0, 0, size.cx, size.cy}));
}

BOOL make_current(Document& document, BrushId brush) {
    DrawAttrs attrs;
    attrs.presence = kAttrFillBrush;
    attrs.fill_brush = brush;
    return WriteDrawState(document, attrs);
}

SurfaceRequest request_for(const Document& document, const Blit& blit) {
    SurfaceRequest request = {.surface = blit.surface};
    request.translation = blit.translation;
    request.source = blit.source;
    request.destination = blit.destination;
    request.resolution = ImageResolution(document, blit.source, blit.destination);
    return request;
}

bool fills_white(BYTE rop, BrushId brush) {
    return (rop == kRopNotPatternCopy && is_black(brush)) || (rop == kRopPatternCopy && is_white(brush)) ||
           rop == kRopWhiteness;
}

DWORD transparent_color(const Blit& blit, ULONG color) {
    const ULONG format = blit.surface->iBitmapFormat;
    const bool deep = format == BMF_16BPP || format == BMF_24BPP || format == BMF_32BPP;
    if (deep) return swap_red_and_blue(color);
    const XLATEOBJ* translation = blit.translation;
    const bool known =
        translation && (translation->flXlate & XO_TABLE) && translation->pulXlate && color < translation->cEntries;
    return known ? swap_red_and_blue(translation->pulXlate[color]) : 0xFFFFFF;
}

}  // namespace

BOOL RecordBlit(Document& document, const Blit& blit, BRUSHOBJ* brush, BYTE rop, const SURFOBJ* mask) {
    if (rop == kRopDestination || draws_nothing(blit)) {
        KV_TRACE(Record, Info, "operation %02X: nothing to be seen", rop);
        return TRUE;
    }
    const RECTL bounds = normalized(blit.destination);
    if (!RecordClip(document, blit.clip, &bounds)) return FALSE;
    if (uses_pattern(rop) && !make_current(document, ResolveBrush(document, brush))) return FALSE;
    SurfaceRequest request = request_for(document, blit);
    request.rop = rop;
    request.mask = mask;
    request.may_merge = true;
    SurfaceImage image;
    if (!ConvertSurfaceToDib(document, request, image)) return FALSE;
    AddInk(document, bounds);
    if (image.merged) return TRUE;
    KV_ASSERT(document.page_start != 0 && image.view().header);
    if (image.mask) {
        return WriteMaskedRecord(document, image.source, blit.destination, image.view(), image.mask.view());
    }
    return WriteBitmapRecord(document, rop, image.source, blit.destination, image.view());
}

BOOL RecordAlphaBlend(Document& document, const Blit& blit, BLENDFUNCTION blend) {
    if (draws_nothing(blit)) return TRUE;
    SurfaceRequest request = request_for(document, blit);
    request.keep_alpha = blit.surface->iBitmapFormat == BMF_32BPP && (blend.AlphaFormat & AC_SRC_ALPHA);
    SurfaceImage image;
    return ConvertSurfaceToDib(document, request, image) &&
           WriteAlphaBlendRecord(document, blit.clip, blend, image.source, blit.destination, image.view());
}

BOOL RecordTransparentBlit(Document& document, const Blit& blit, ULONG color) {
    if (draws_nothing(blit)) return TRUE;
    SurfaceImage image;
    return ConvertSurfaceToDib(document, request_for(document, blit), image) &&
           WriteTransparentRecord(document, blit.clip, transparent_color(blit, color), image.source, blit.destination,
                                  image.view());
}

BOOL RecordRectFill(Document& document, CLIPOBJ* clip, const RECTL& rect, BrushId brush, BYTE rop) {
    if (is_empty(rect) || IsRopNoOp(rop, brush) || uses_source(rop)) return TRUE;
    if (is_page_blank(document) && fills_white(rop, brush)) {
        KV_TRACE(Record, Info, "white on a blank page");
        return TRUE;
    }
    if (!RecordClip(document, clip, &rect)) return FALSE;
    if (rop != kRopBlackness && rop != kRopWhiteness && uses_pattern(rop) && !make_current(document, brush))
        return FALSE;
    AddInk(document, rect);
    return document.pending.hold_or_write<CPendingRectFill>(document, &PendingOperation::offer_rect_fill,
                                                            write_rect_fill, RectFill{rect, rop});
}

}  // namespace kv
