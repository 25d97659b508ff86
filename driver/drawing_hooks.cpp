// The drawing hooks that record: paths and brushes.

#include "driver/guarded_recording.h"
#include "driver/hooks.h"
#include "record/path_recorder.h"

using kv::PathDrawing;
using kv::PDEVICE;

namespace {

BYTE foreground(MIX mix) { return static_cast<BYTE>(mix); }

// FALSE never asks the engine to draw the path itself: the document has failed then.
BOOL record_path(SURFOBJ* surface, PATHOBJ* path, CLIPOBJ* clip, const PathDrawing& drawing,
                 const char* hook = __builtin_FUNCTION()) {
    PDEVICE* device = PDEVICE::FromSurface(surface, PDEVICE::Outside::Refuse, PDEVICE::Failed::Refuse, hook);
    if (device && !path) KV_FAIL(Driver, "no path");
    if (!device || !path) return static_cast<BOOL>(DDI_ERROR);
    auto work = [&] { return kv::RecordPath(*device, path, clip, drawing); };
    if (!kv::run_recording(*device, work, hook)) return FALSE;
    SetLastError(ERROR_SUCCESS);
    return TRUE;
}

}  // namespace

BOOL APIENTRY DrvStrokePath(SURFOBJ* surface, PATHOBJ* path, CLIPOBJ* clip, XFORMOBJ* transform, BRUSHOBJ* brush,
                            POINTL*, LINEATTRS* line, MIX mix) {
    PathDrawing drawing = {.record_type = kv::kRecordStrokePath16};
    drawing.transform = transform;
    drawing.stroke_brush = brush;
    drawing.line = line;
    drawing.stroke_mix = foreground(mix);
    return record_path(surface, path, clip, drawing);
}

BOOL APIENTRY DrvFillPath(SURFOBJ* surface, PATHOBJ* path, CLIPOBJ* clip, BRUSHOBJ* brush, POINTL*, MIX mix,
                          FLONG options) {
    PathDrawing drawing = {.record_type = kv::kRecordFillPath16};
    drawing.fill_brush = brush;
    drawing.fill_mix = foreground(mix);
    drawing.fill_options = options;
    return record_path(surface, path, clip, drawing);
}

BOOL APIENTRY DrvStrokeAndFillPath(SURFOBJ* surface, PATHOBJ* path, CLIPOBJ* clip, XFORMOBJ* transform,
                                   BRUSHOBJ* stroke_brush, LINEATTRS* line, BRUSHOBJ* fill_brush, POINTL*, MIX fill_mix,
                                   FLONG options) {
    PathDrawing drawing = {.record_type = kv::kRecordStrokeAndFillPath16};
    drawing.transform = transform;
    drawing.stroke_brush = stroke_brush;
    drawing.line = line;
    drawing.stroke_mix = foreground(fill_mix);
    drawing.fill_brush = fill_brush;
    drawing.fill_mix = foreground(fill_mix);
    drawing.fill_options = options;
    return record_path(surface, path, clip, drawing);
}

BOOL APIENTRY DrvRealizeBrush(BRUSHOBJ* brush, SURFOBJ* target, SURFOBJ* pattern, SURFOBJ*, XLATEOBJ* translation,
                              ULONG hatch) {
    PDEVICE* device = PDEVICE::FromSurface(target, PDEVICE::Outside::AllowNoPage, PDEVICE::Failed::Allow);
    if (!device) return FALSE;
    if (!brush) return KV_FAIL(Driver, "no brush");
    return kv::run_hook(*device, [&] { return kv::realize_brush(*device, brush, pattern, translation, hatch); });
}
