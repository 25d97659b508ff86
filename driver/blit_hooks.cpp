// The hooks that transfer pixels.

#include <algorithm>

#include "driver/guarded_recording.h"
#include "driver/hooks.h"
#include "record/blit_recorder.h"
#include "record/raster_ops.h"

using kv::Blit;
using kv::PDEVICE;

namespace {

PDEVICE* device_of(const SURFOBJ* target, const char* hook = __builtin_FUNCTION()) {
    return PDEVICE::FromSurface(target, PDEVICE::Outside::Refuse, PDEVICE::Failed::Refuse, hook);
}

// The low byte draws where the mask is set or missing; what it says elsewhere is not looked at.
BYTE ternary(ROP4 rop) { return static_cast<BYTE>(rop); }

// As large as another rectangle, from a point on.
RECTL rect_from(POINTL point, const RECTL& size) {
    auto moved = [](LONG from, int64_t length) {
        return static_cast<LONG>(std::clamp<int64_t>(from + length, -0x7FFFFFFF - 1, 0x7FFFFFFF));
    };
    return {point.x, point.y, moved(point.x, kv::width_of(size)), moved(point.y, kv::height_of(size))};
}

// The driver's surface is white paper to whoever reads it.
BOOL erase(SURFOBJ* target, RECTL* rect, XLATEOBJ* translation) {
    constexpr ULONG kWhite = 0xFFFFFF;
    return EngEraseSurface(target, rect, translation ? XLATEOBJ_iXlate(translation, kWhite) : kWhite);
}

}  // namespace

BOOL APIENTRY DrvBitBlt(SURFOBJ* target, SURFOBJ* source, SURFOBJ* mask, CLIPOBJ* clip, XLATEOBJ* translation,
                        RECTL* target_rect, POINTL* source_point, POINTL*, BRUSHOBJ* brush, POINTL*, ROP4 rop4) {
    const BYTE rop = ternary(rop4);
    if (rop == kv::kRopDestination) return TRUE;
    PDEVICE* device = device_of(target);
    if (!device) return FALSE;
    if (!target_rect) return KV_FAIL(Driver, "no rectangle");
    if (!kv::uses_pattern(rop)) brush = nullptr;
    if (source && source_point && kv::uses_source(rop)) {
        const Blit blit = {clip, source, translation, rect_from(*source_point, *target_rect), *target_rect};
        return kv::run_recording(*device, [&] { return kv::RecordBlit(*device, blit, brush, rop, mask); });
    }
    const RECTL rect = kv::normalized(*target_rect);
    if (kv::is_empty(rect)) return TRUE;
    return kv::run_recording(
        *device, [&] { return kv::RecordRectFill(*device, clip, rect, kv::ResolveBrush(*device, brush), rop); });
}

BOOL APIENTRY DrvStretchBlt(SURFOBJ* target, SURFOBJ* source, SURFOBJ* mask, CLIPOBJ* clip, XLATEOBJ* translation,
                            COLORADJUSTMENT* adjustment, POINTL* halftone_origin, RECTL* target_rect,
                            RECTL* source_rect, POINTL* mask_point, ULONG mode) {
    return DrvStretchBltROP(target, source, mask, clip, translation, adjustment, halftone_origin, target_rect,
                            source_rect, mask_point, mode, nullptr, kv::kRopSourceCopy * 0x0101);
}

BOOL APIENTRY DrvStretchBltROP(SURFOBJ* target, SURFOBJ* source, SURFOBJ* mask, CLIPOBJ* clip, XLATEOBJ* translation,
                               COLORADJUSTMENT*, POINTL*, RECTL* target_rect, RECTL* source_rect, POINTL*, ULONG,
                               BRUSHOBJ* brush, DWORD rop4) {
    PDEVICE* device = device_of(target);
    if (!device) return FALSE;
    if (!source || !target_rect || !source_rect) return KV_FAIL(Driver, "no source, or no rectangle");
    const Blit blit = {clip, source, translation, *source_rect, *target_rect};
    return kv::run_recording(*device, [&] { return kv::RecordBlit(*device, blit, brush, ternary(rop4), mask); });
}

BOOL APIENTRY DrvCopyBits(SURFOBJ* target, SURFOBJ* source, CLIPOBJ* clip, XLATEOBJ* translation, RECTL* target_rect,
                          POINTL* source_point) {
    if (!target || !source || !target_rect || !source_point) return KV_FAIL(Driver, "no surface, or no rectangle");
    if (source->iType != STYPE_BITMAP) {
        return target->iType == STYPE_BITMAP && erase(target, target_rect, translation);
    }
    PDEVICE* device = device_of(target);
    if (!device) return FALSE;
    const Blit blit = {clip, source, translation, rect_from(*source_point, *target_rect), *target_rect};
    return kv::run_recording(*device,
                             [&] { return kv::RecordBlit(*device, blit, nullptr, kv::kRopSourceCopy, nullptr); });
}

BOOL APIENTRY DrvAlphaBlend(SURFOBJ* target, SURFOBJ* source, CLIPOBJ* clip, XLATEOBJ* translation, RECTL* target_rect,
                            RECTL* source_rect, BLENDOBJ* blend) {
    PDEVICE* device = device_of(target);
    if (!device) return FALSE;
    if (!source || !target_rect || !source_rect || !blend) return KV_FAIL(Driver, "no source, rectangle or blend");
    const Blit blit = {clip, source, translation, *source_rect, *target_rect};
    return kv::run_recording(*device, [&] { return kv::RecordAlphaBlend(*device, blit, blend->BlendFunction); });
}

BOOL APIENTRY DrvTransparentBlt(SURFOBJ* target, SURFOBJ* source, CLIPOBJ* clip, XLATEOBJ* translation,
                                RECTL* target_rect, RECTL* source_rect, ULONG transparent_colour, ULONG) {
    PDEVICE* device = device_of(target);
    if (!device) return FALSE;
    if (!source || !target_rect || !source_rect) return KV_FAIL(Driver, "no source, or no rectangle");
    const Blit blit = {clip, source, translation, *source_rect, *target_rect};
    return kv::run_recording(*device, [&] { return kv::RecordTransparentBlit(*device, blit, transparent_colour); });
}
