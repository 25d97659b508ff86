#include "record/clip_recorder.h"

#include <algorithm>

#include "record/document.h"
#include "record/record_types.h"
#include "support/assert.h"
#include "support/trace.h"

namespace kv {
namespace {

// Encoded paths of this size and more are worth keeping under the engine's identity.
constexpr DWORD kCachedClipSize = 1024;
constexpr DWORD kRectCountSize = 4;  // before the rectangles of a list

struct PathDeleter {
    void operator()(PATHOBJ* path) const { EngDeletePath(path); }
};
using EnginePath = std::unique_ptr<PATHOBJ, PathDeleter>;

// The captured path takes the place of the clip once; used up, it resets the clip. So does one of several parts: a clip
// is one record, and half a clip would cut away what was to be seen.
BOOL record_captured_path(Document& document) {
    CapturedPath& path = *document.captured;
    const PathView clip = path.whole();
    BOOL ok;
    if (clip.head.kind == PathKind::Path16 || clip.head.kind == PathKind::Path32) {
        document.note_largest_entry(path.metrics().largest_entry);
        ok = SetCurrentClip(document, clip);
    } else {
        KV_TRACE(Record, Warning, "a captured path of several parts, or used up, does not clip");
        ok = ResetClip(document);
    }
    document.clipped_by_captured = ok;
    if (ok) path.use_up();
    return ok;
}

// The clip of a call, encoded. What it views stays until the next path or clip is encoded.
struct CallClip {
    PathView view = {};
    DWORD largest_entry = 0;  // of a path, points
    bool unchanged = false;   // the region is nothing but single pixels
    BYTE rect[kRectCountSize + kRect32Size] = {};
};

void encode_rect(const RECTL& rect, const RECTL* bounds, CallClip& call) {
    if (bounds && contains(rect, *bounds)) return;
    const bool narrow = fits_16_bits(rect) && (!bounds || fits_16_bits(*bounds));
    ByteWriter out(call.rect);
    out.u32(1);
    narrow ? put_rect16(out, normalized(rect)) : put_rect32(out, normalized(rect));
    KV_ASSERT(!out.overflowed());
    call.view = {{narrow ? PathKind::Rects16 : PathKind::Rects32, static_cast<DWORD>(out.size()), 0}, call.rect};
}

BOOL encode_region(Document& document, CLIPOBJ* clip, CallClip& call) {
    EnginePath path(CLIPOBJ_ppoGetPath(clip));
    if (!path)
        return KV_FAIL(Record, "the engine has no path of the clip, position %u",
                       static_cast<unsigned>(document.position));
    PathMetrics metrics = MeasurePath(path.get(), PathUse::Area);
    PathBuffer& buffer = document.drawing_path;
    if (!document.reserve_paths(metrics.size32) || !EncodePath(path.get(), buffer, metrics)) return FALSE;
    call.view = buffer.view();
    call.largest_entry = metrics.largest_entry;
    call.unchanged = buffer.head().length == 0;
    return TRUE;
}

BOOL encode_clip(Document& document, CLIPOBJ* clip, const RECTL* bounds, CallClip& call) {
    if (!clip || clip->iDComplexity == DC_TRIVIAL) return TRUE;
    PathBuffer& cached = document.cached_clip;
    if (clip->iUniq != 0 && cached && cached.head().identity == clip->iUniq) {
        KV_TRACE(Record, Info, "clip %u is known", static_cast<unsigned>(clip->iUniq));
        call.view = cached.view();
        call.largest_entry = document.cached_clip_entry;
        return TRUE;
    }
    if (clip->iDComplexity == DC_RECT) {
        encode_rect(clip->rclBounds, bounds, call);
        return TRUE;
    }
    if (!encode_region(document, clip, call)) return FALSE;
    if (call.view.head.length >= kCachedClipSize && clip->iUniq != 0) {
        call.view.head.identity = clip->iUniq;
        if (cached.assign(call.view)) document.cached_clip_entry = call.largest_entry;
    }
    return TRUE;
}

// Rectangle lists are written without their count.
BOOL write_rects(Document& document, BYTE type, DWORD rect_size, const PathView& clip) {
    const DWORD count = (clip.head.length - kRectCountSize) / rect_size;
    KV_ASSERT(clip.head.length == kRectCountSize + count * rect_size);
    if (count == 0) return ResetClip(document);
    document.statistics.largest_clip_rects = std::max(document.statistics.largest_clip_rects, count);
    return document.WriteRecord(type, count * rect_size, clip.body + kRectCountSize);
}

BOOL write_clip(Document& document, const PathView& clip) {
    switch (clip.head.kind) {
        case PathKind::Path16:
            return document.WriteRecord(kRecordClipPath16, clip.head.length, clip.body);
        case PathKind::Path32:
            return document.WriteRecord(kRecordClipPath32, clip.head.length, clip.body);
        case PathKind::Rects16:
            return write_rects(document, kRecordClipRects16, kRect16Size, clip);
        case PathKind::Rects32:
            return write_rects(document, kRecordClipRects32, kRect32Size, clip);
        case PathKind::Empty:
            break;
    }
    return ResetClip(document);
}

}  // namespace

BOOL RecordClip(Document& document, CLIPOBJ* clip, const RECTL* bounds) {
    if (clip) document.captured = {};  // a real clip object ends the captured path
    if (document.captured) return record_captured_path(document);
    document.clipped_by_captured = false;
    CallClip call;
    if (!encode_clip(document, clip, bounds, call)) return FALSE;
    if (call.unchanged) {
        KV_TRACE(Record, Info, "a region of single pixels: the clip stays");
        return TRUE;
    }
    document.note_largest_entry(call.largest_entry);
    return SetCurrentClip(document, call.view);
}

BOOL KeepClip(Document& document, CLIPOBJ* clip, KeptClip& kept) {
    if (clip && clip->iDComplexity == DC_RECT) {  // whether it is needed depends on what is drawn
        kept.kind = KeptClip::Kind::Rect;
        kept.rect = clip->rclBounds;
        return TRUE;
    }
    CallClip call;
    if (!encode_clip(document, clip, nullptr, call)) return FALSE;
    if (call.unchanged) kept.kind = KeptClip::Kind::Unchanged;
    if (call.view.head.length == 0) return TRUE;
    kept.kind = KeptClip::Kind::Path;
    kept.largest_entry = call.largest_entry;
    return kept.path.reserve(call.view.head.length) && kept.path.assign(call.view);
}

BOOL RecordKeptClip(Document& document, KeptClip& kept, const RECTL& bounds) {
    const bool captured =
        document.clipped_by_captured && document.current_clip && document.current_clip.head().kind != PathKind::Empty;
    if (captured || kept.kind == KeptClip::Kind::Unchanged) return TRUE;
    document.clipped_by_captured = false;
    if (kept.kind == KeptClip::Kind::None) return ResetClip(document);
    if (kept.kind == KeptClip::Kind::Path) {
        document.note_largest_entry(kept.largest_entry);
        return SetCurrentClip(document, kept.path.view());
    }
    CallClip call;
    encode_rect(kept.rect, &bounds, call);
    return SetCurrentClip(document, call.view);
}

BOOL SetCurrentClip(Document& document, const PathView& clip) {
    if (clip.head.kind == PathKind::Empty) return ResetClip(document);
    if (KV_NEVER(!document.current_clip)) return KV_FAIL(Record, "no buffer of the clip");
    if (clip.same_shape(document.current_clip.view())) return TRUE;
    KV_TRACE(Record, Info, "clip of kind %u, %u bytes", static_cast<unsigned>(clip.head.kind),
             static_cast<unsigned>(clip.head.length));
    return document.reserve_paths(clip.head.length) && write_clip(document, clip) && document.current_clip.assign(clip);
}

BOOL ResetClip(Document& document) {
    if (!document.current_clip || document.current_clip.head().kind == PathKind::Empty) return TRUE;
    KV_TRACE(Record, Info, "no clip any more");
    document.current_clip.clear_head();
    return document.WriteEmptyRecord(kRecordClipReset);
}

}  // namespace kv
