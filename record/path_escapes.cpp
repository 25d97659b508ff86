#include "record/path_escapes.h"

#include <algorithm>
#include <iterator>

#include "record/clip_recorder.h"
#include "record/document.h"
#include "record/path_recorder.h"
#include "support/assert.h"
#include "support/little_endian.h"
#include "support/trace.h"

namespace kv {
namespace {

enum ClipMode : WORD { kClipSave = 0, kClipRestore = 1, kClipInclusive = 2 };
enum RenderMode : WORD { kNoDisplay = 0, kOpen = 1, kClosed = 2 };
constexpr DWORD kColour = 0xFFFFFF;  // the rest of a COLORREF says where the colour comes from
constexpr DWORD kWhite = 0xFFFFFF;

// Styles are PS_* and BS_*, colours 0x00BBGGRR, lengths device pixels.
struct PathInfo {
    WORD render_mode;
    BYTE fill_mode;
    DWORD pen_style, pen_width, pen_colour;
    DWORD brush_style, brush_colour, hatch;

    bool has_pen() const { return pen_style != PS_NULL; }
    // Patterns are handles of the application's, which mean nothing here.
    bool has_brush() const { return brush_style == BS_SOLID || brush_style == BS_HATCHED; }
};

PathInfo read_info(const BYTE* bytes, ULONG size) {
    PathInfo info = {};
    info.render_mode = load_u16(bytes);
    info.fill_mode = bytes[2];
    info.pen_style = load_u32(bytes + 4);
    info.pen_width = load_u32(bytes + 8);
    info.pen_colour = load_u32(bytes + 16) & kColour;
    const BYTE* brush = bytes + (size >= kPathInfoSize64 ? 24 : 20);
    info.brush_style = load_u32(brush);
    info.brush_colour = load_u32(brush + 4) & kColour;
    info.hatch = load_u32(brush + 8);
    return info;
}

bool has_content(const CapturedPathRef& path) { return path && !path->is_empty(); }

void close_figure(CapturedPath& path, bool closed) {
    BYTE& flags = path.last_entry_flags();
    flags = static_cast<BYTE>(closed ? flags | PD_CLOSEFIGURE : flags & ~PD_CLOSEFIGURE);
}

void set_pen(const PathInfo& info, DrawAttrs& attrs) {
    // The gaps of the solid, dash, dot, dash-dot and dash-dot-dot pens; other pens are solid.
    static constexpr BYTE kGaps[] = {0x00, 0x03, 0x55, 0x1B, 0x15};
    attrs.presence |= kAttrStrokeBrush | kAttrStrokeRop | kAttrWidth | kAttrStyleMask | kAttrGeometric;
    attrs.width = std::max<WORD>(static_cast<WORD>(info.pen_width), 1);
    attrs.style_mask = info.pen_style < std::size(kGaps) ? kGaps[info.pen_style] : BYTE{0};
}

DrawAttrs make_attrs(Document& document, const PathInfo& info) {
    DrawAttrs attrs;
    attrs.presence = kAttrFillMode;
    attrs.fill_mode = info.fill_mode == kFillAlternate ? kFillAlternate : kFillWinding;
    if (info.has_pen()) {
        RealizedBrush pen = {kNoBrush, BrushKind::Solid, info.pen_colour, 0, 0};
        attrs.stroke_brush = ResolveRealizedBrush(document, pen);
        set_pen(info, attrs);
    }
    if (info.has_brush()) {
        const bool hatched = info.brush_style == BS_HATCHED && info.hatch < HS_DDI_MAX;
        RealizedBrush brush = {kNoBrush, BrushKind::Solid, info.brush_colour, 0, 0};
        if (hatched) brush = {kNoBrush, BrushKind::Hatched, info.brush_colour, info.hatch, kWhite};
        attrs.presence |= kAttrFillBrush | kAttrFillRop;
        attrs.fill_brush = ResolveRealizedBrush(document, brush);
    }
    return attrs;
}

BYTE record_type(const PathInfo& info, bool wide) {
    BYTE type = kRecordStrokeAndFillPath16;
    if (!info.has_pen()) type = kRecordFillPath16;
    if (!info.has_brush()) type = kRecordStrokePath16;
    return static_cast<BYTE>(wide ? type + kWidePathStep : type);
}

BOOL render(Document& document, CapturedPath& captured, const PathInfo& info) {
    KV_ASSERT(document.page_start != 0 && (info.has_pen() || info.has_brush()));
    close_figure(captured, info.render_mode == kClosed);
    const DrawAttrs attrs = make_attrs(document, info);
    if (is_page_blank(document) && draws_only_white(attrs)) return TRUE;
    const BYTE type = record_type(info, captured.is_wide());
    const RECTL drawn = drawn_bounds(captured.metrics().bounds, info.has_pen(), attrs);
    BOOL ok = RecordKeptClip(document, captured.clip, drawn) && WriteDrawState(document, attrs);
    captured.for_each_part(
        [&](const PathView& part) { ok = ok && document.WriteRecord(type, part.head.length, part.body); });
    if (!ok) return FALSE;
    AddInk(document, captured.metrics().bounds);
    document.note_largest_entry(captured.metrics().largest_entry);
    return TRUE;
}

}  // namespace

void begin_path(Document& document) {
    if (document.path_depth < 0x7FFFFFFF) ++document.path_depth;
}

BOOL clip_to_path(Document& document, WORD mode) {
    switch (mode) {
        case kClipSave:
            return document.saved_paths.push(document.captured);
        case kClipRestore:
            return document.saved_paths.pop(document.captured);
        case kClipInclusive:
            // Outside a page no clip is set anyhow, and a path waits for the next one.
            if (document.page_start == 0) return !has_content(document.captured);
            return RecordClip(document, nullptr, nullptr);
        default:
            return KV_FAIL(Record, "mode %u", mode);
    }
}

BOOL end_path(Document& document, const BYTE* bytes, ULONG size) {
    if (document.path_depth > 0) --document.path_depth;
    if (size < kPathInfoSize || !bytes || !document.captured) {
        return KV_FAIL(Record, "%u bytes, %s path", static_cast<unsigned>(size), document.captured ? "a" : "no");
    }
    const CapturedPathRef path = std::exchange(document.captured, {});
    KV_ASSERT(path && !document.captured && document.path_depth >= 0);
    const PathInfo info = read_info(bytes, size);
    if (info.render_mode == kNoDisplay) return TRUE;
    if (info.render_mode != kOpen && info.render_mode != kClosed) {
        return KV_FAIL(Record, "render mode %u", info.render_mode);
    }
    if (!info.has_pen() && !info.has_brush()) return TRUE;
    // A path that was used up as a clip is none.
    if (!has_content(path) || document.page_start == 0) return KV_FAIL(Record, "a used path, or no page");
    return render(document, *path, info);
}

}  // namespace kv
