#include "record/clip_recorder.h"

#include <algorithm>

#include "driver/pdevice.h"
#include "record/record_types.h"

namespace kv {
namespace {

// Encoded paths of this size and more are worth keeping under the engine's identity.
constexpr DWORD kCachedClipSize = 1024;
constexpr DWORD kRectCountSize = 4;

struct PathDeleter {
    void operator()(PATHOBJ* path) const { EngDeletePath(path); }
};
using EnginePath = std::unique_ptr<PATHOBJ, PathDeleter>;

// The captured path takes the place of the clip once; used up, it resets the clip. So does one of several parts: a clip
// is one record, and half a clip would cut away what was to be seen.
BOOL record_captured_path(PDEVICE& device) {
    CapturedPath& path = *device.captured;
    const PathView clip = path.whole();
    BOOL ok;
    if (clip.head.kind == PathKind::Path16 || clip.head.kind == PathKind::Path32) {
        device.note_largest_entry(path.metrics().largest_entry);
        ok = SetCurrentClip(device, clip);
    } else {
        ok = ResetClip(device);
    }
    device.clipped_by_captured = ok;
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
    call.view = {{narrow ? PathKind::Rects16 : PathKind::Rects32, static_cast<DWORD>(out.size()), 0}, call.rect};
}

BOOL encode_region(PDEVICE& device, CLIPOBJ* clip, CallClip& call) {
    EnginePath path(CLIPOBJ_ppoGetPath(clip));
    if (!path) return FALSE;
    PathMetrics metrics = MeasurePath(path.get(), PathUse::Area);
    PathBuffer& buffer = device.drawing_path;
    if (!device.reserve_paths(metrics.size32) || !EncodePath(path.get(), buffer, metrics)) return FALSE;
    call.view = buffer.view();
    call.largest_entry = metrics.largest_entry;
    call.unchanged = buffer.head().length == 0;
    return TRUE;
}

BOOL encode_clip(PDEVICE& device, CLIPOBJ* clip, const RECTL* bounds, CallClip& call) {
    if (!clip || clip->iDComplexity == DC_TRIVIAL) return TRUE;
    PathBuffer& cached = device.cached_clip;
    if (clip->iUniq != 0 && cached && cached.head().identity == clip->iUniq) {
        call.view = cached.view();
        call.largest_entry = device.cached_clip_entry;
        return TRUE;
    }
    if (clip->iDComplexity == DC_RECT) {
        encode_rect(clip->rclBounds, bounds, call);
        return TRUE;
    }
    if (!encode_region(device, clip, call)) return FALSE;
    if (call.view.head.length >= kCachedClipSize && clip->iUniq != 0) {
        call.view.head.identity = clip->iUniq;
        if (cached.assign(call.view)) device.cached_clip_entry = call.largest_entry;
    }
    return TRUE;
}

// Rectangle lists are written without their count.
BOOL write_rects(PDEVICE& device, BYTE type, DWORD rect_size, const PathView& clip) {
    const DWORD count = (clip.head.length - kRectCountSize) / rect_size;
    if (count == 0) return ResetClip(device);
    device.statistics.largest_clip_rects = std::max(device.statistics.largest_clip_rects, count);
    return device.WriteRecord(type, count * rect_size, clip.body + kRectCountSize);
}

BOOL write_clip(PDEVICE& device, const PathView& clip) {
    switch (clip.head.kind) {
        case PathKind::Path16:
            return device.WriteRecord(kRecordClipPath16, clip.head.length, clip.body);
        case PathKind::Path32:
            return device.WriteRecord(kRecordClipPath32, clip.head.length, clip.body);
        case PathKind::Rects16:
            return write_rects(device, kRecordClipRects16, kRect16Size, clip);
        case PathKind::Rects32:
            return write_rects(device, kRecordClipRects32, kRect32Size, clip);
        case PathKind::Empty:
            break;
    }
    return ResetClip(device);
}

}  // namespace

BOOL RecordClip(PDEVICE& device, CLIPOBJ* clip, const RECTL* bounds) {
    if (clip) device.captured = {};  // a real clip object ends the captured path
    if (device.captured) return record_captured_path(device);
    device.clipped_by_captured = false;
    CallClip call;
    if (!encode_clip(device, clip, bounds, call)) return FALSE;
    if (call.unchanged) return TRUE;
    device.note_largest_entry(call.largest_entry);
    return SetCurrentClip(device, call.view);
}

BOOL KeepClip(PDEVICE& device, CLIPOBJ* clip, KeptClip& kept) {
    if (clip && clip->iDComplexity == DC_RECT) {  // whether it is needed depends on what is drawn
        kept.kind = KeptClip::Kind::Rect;
        kept.rect = clip->rclBounds;
        return TRUE;
    }
    CallClip call;
    if (!encode_clip(device, clip, nullptr, call)) return FALSE;
    if (call.unchanged) kept.kind = KeptClip::Kind::Unchanged;
    if (call.view.head.length == 0) return TRUE;
    kept.kind = KeptClip::Kind::Path;
    kept.largest_entry = call.largest_entry;
    return kept.path.reserve(call.view.head.length) && kept.path.assign(call.view);
}

BOOL RecordKeptClip(PDEVICE& device, KeptClip& kept, const RECTL& bounds) {
    const bool captured =
        device.clipped_by_captured && device.current_clip && device.current_clip.head().kind != PathKind::Empty;
    if (captured || kept.kind == KeptClip::Kind::Unchanged) return TRUE;
    device.clipped_by_captured = false;
    if (kept.kind == KeptClip::Kind::None) return ResetClip(device);
    if (kept.kind == KeptClip::Kind::Path) {
        device.note_largest_entry(kept.largest_entry);
        return SetCurrentClip(device, kept.path.view());
    }
    CallClip call;
    encode_rect(kept.rect, &bounds, call);
    return SetCurrentClip(device, call.view);
}

BOOL SetCurrentClip(PDEVICE& device, const PathView& clip) {
    if (clip.head.kind == PathKind::Empty) return ResetClip(device);
    if (!device.current_clip) return FALSE;
    if (clip.same_shape(device.current_clip.view())) return TRUE;
    return device.reserve_paths(clip.head.length) && write_clip(device, clip) && device.current_clip.assign(clip);
}

BOOL ResetClip(PDEVICE& device) {
    if (!device.current_clip || device.current_clip.head().kind == PathKind::Empty) return TRUE;
    device.current_clip.clear_head();
    return device.WriteEmptyRecord(kRecordClipReset);
}

}  // namespace kv
