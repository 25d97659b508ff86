#include "record/path_recorder.h"

#include <algorithm>
#include <cmath>

#include "record/clip_recorder.h"
#include "record/document.h"
#include "support/assert.h"
#include "support/trace.h"

namespace kv {
namespace {

constexpr BYTE kNothing = 0;

BOOL capture_path(Document& document, PATHOBJ* path, CLIPOBJ* clip) {
    CapturedPathRef captured(make_object<CapturedPath>());
    if (!captured || !captured->capture(path)) return FALSE;
    if (captured->is_empty()) return TRUE;
    document.note_largest_entry(captured->metrics().largest_entry);
    if (!KeepClip(document, clip, captured->clip)) return FALSE;
    KV_TRACE(Record, Info, "captured, %u entries", static_cast<unsigned>(captured->metrics().entries));
    document.captured = std::move(captured);
    KV_ASSERT(document.path_depth != 0);
    return TRUE;
}

void set_stroke(Document& document, PathDrawing& drawing, DrawAttrs& attrs) {
    if (drawing.stroke_mix == R2_NOP) {
        drawing.stroke_brush = nullptr;
        drawing.line = nullptr;
        if (drawing.record_type == kRecordStrokeAndFillPath16) drawing.record_type = kRecordFillPath16;
        return;
    }
    if (drawing.stroke_brush) {
        attrs.presence |= kAttrStrokeBrush | kAttrStrokeRop;
        attrs.stroke_brush = ResolveBrush(document, drawing.stroke_brush);
        attrs.stroke_rop = drawing.stroke_mix;
    }
    if (drawing.line) SetLineAttrs(*drawing.line, drawing.transform, attrs);
}

void set_fill(Document& document, PathDrawing& drawing, DrawAttrs& attrs) {
    if (drawing.fill_mix == R2_NOP) {
        drawing.fill_brush = nullptr;
        if (drawing.record_type == kRecordStrokeAndFillPath16) drawing.record_type = kRecordStrokePath16;
        return;
    }
    if (!drawing.fill_brush) return;
    attrs.presence |= kAttrFillBrush | kAttrFillRop | kAttrFillMode;
    attrs.fill_brush = ResolveBrush(document, drawing.fill_brush);
    attrs.fill_rop = drawing.fill_mix;
    attrs.fill_mode = (drawing.fill_options & FP_ALTERNATEMODE) ? kFillAlternate : kFillWinding;
}

// What is left of a record type when its invisible halves are dropped.
BYTE visible_type(BYTE type, const DrawAttrs& attrs) {
    switch (type) {
        case kRecordStrokePath16:
            return IsStrokeInvisible(attrs, StrokeMix::Own) ? kNothing : type;
        case kRecordFillPath16:
            return IsFillInvisible(attrs) ? kNothing : type;
        default: {
            const bool stroke = !IsStrokeInvisible(attrs, StrokeMix::Fill), fill = !IsFillInvisible(attrs);
            if (stroke && fill) return type;
            if (stroke) return kRecordStrokePath16;
            return fill ? BYTE{kRecordFillPath16} : kNothing;
        }
    }
}

// The parts of lines that are too many for one record are paths of their own.
class PartRecords : public PathParts {
public:
    PartRecords(Document& document, BYTE type) : document_(document), type_(type) {}
    BOOL add(const PathView& part) override { return document_.WriteRecord(type_, part.head.length, part.body); }

private:
    Document& document_;
    BYTE type_;
};

BOOL record_visible_path(Document& document, PATHOBJ* path, CLIPOBJ* clip, BYTE type, const DrawAttrs& attrs) {
    const bool strokes = type != kRecordFillPath16;
    KV_ASSERT(type >= kRecordStrokePath16 && type <= kRecordStrokeAndFillPath16);
    PathMetrics metrics = MeasurePath(path, strokes ? PathUse::Lines : PathUse::Area);
    if (metrics.joined) KV_TRACE(Record, Warning, "more entries than a record counts: joined or in parts");
    if (metrics.joined && type == kRecordStrokeAndFillPath16) {
        return record_visible_path(document, path, clip, kRecordFillPath16, attrs) &&
               record_visible_path(document, path, clip, kRecordStrokePath16, attrs);
    }
    if (metrics.wide) type = static_cast<BYTE>(type + kWidePathStep);
    const RECTL drawn = drawn_bounds(metrics.bounds, strokes, attrs);
    PartRecords parts(document, type);
    if (!document.reserve_paths(metrics.size32) || !RecordClip(document, clip, &drawn) ||
        !WriteDrawState(document, attrs) || !EncodePath(path, document.drawing_path, metrics, &parts)) {
        return FALSE;
    }
    const DWORD length = document.drawing_path.head().length;
    if (length == 0) return TRUE;
    AddInk(document, metrics.bounds);
    document.note_largest_entry(metrics.largest_entry);
    return document.WriteRecord(type, length, document.drawing_path.body().data());
}

}  // namespace

RECTL drawn_bounds(const RECTL& path, bool strokes, const DrawAttrs& attrs) {
    if (!strokes || attrs.width <= 1) return path;
    constexpr double kDiagonal = 1.4143;  // of a square of side 1, rounded up
    double corners = !attrs.geometric || attrs.end_cap == ENDCAP_SQUARE ? kDiagonal : 1;
    if (attrs.geometric && attrs.join == JOIN_MITER) corners = std::max<double>(corners, attrs.miter_limit);
    const auto reach = static_cast<int64_t>(std::min(std::ceil(attrs.width / 2.0 * corners), 2147483647.0));
    auto moved = [](LONG value, int64_t by) {
        return static_cast<LONG>(std::clamp<int64_t>(value + by, -0x7FFFFFFF - 1, 0x7FFFFFFF));
    };
    return {moved(path.left, -reach), moved(path.top, -reach), moved(path.right, reach + 1),
            moved(path.bottom, reach + 1)};
}

bool is_page_blank(const Document& document) { return is_empty(document.page_marks) && !document.pending.is_pending(); }

BOOL RecordPath(Document& document, PATHOBJ* path, CLIPOBJ* clip, PathDrawing drawing) {
    if (document.path_depth != 0) return capture_path(document, path, clip);
    DrawAttrs attrs;
    set_stroke(document, drawing, attrs);
    set_fill(document, drawing, attrs);
    if (!drawing.stroke_brush && !drawing.line && !drawing.fill_brush) return TRUE;

    const BYTE type = visible_type(drawing.record_type, attrs);
    if (type == kNothing || (is_page_blank(document) && draws_only_white(attrs))) {
        KV_TRACE(Record, Info, "type %u: nothing to be seen", drawing.record_type);
        return TRUE;
    }
    return record_visible_path(document, path, clip, type, attrs);
}

}  // namespace kv
