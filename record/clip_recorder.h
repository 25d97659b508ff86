#pragma once
// Makes the clip of the job's reader equal to the clip of a drawing call, with a record only on change.

#include "platform/ddi.h"
#include "record/path_buffer.h"

namespace kv {

struct PDEVICE;

// bounds: what the caller is about to draw, device pixels, or null. FALSE when a write failed, memory is out or
// the engine has no path of a complex clip.
BOOL RecordClip(PDEVICE& device, CLIPOBJ* clip, const RECTL* bounds);
BOOL SetCurrentClip(PDEVICE& device, const PathView& clip);
BOOL ResetClip(PDEVICE& device);

// The clip of a call that draws later.
struct KeptClip {
    enum class Kind { None, Rect, Path, Unchanged } kind = Kind::None;
    RECTL rect = {};
    PathBuffer path;
    DWORD largest_entry = 0;
};
// FALSE when memory is out or the engine has no path of a complex clip.
BOOL KeepClip(PDEVICE& device, CLIPOBJ* clip, KeptClip& kept);
// Makes it current for what is drawn within the bounds, unless a captured path is the clip.
BOOL RecordKeptClip(PDEVICE& device, KeptClip& kept, const RECTL& bounds);

}  // namespace kv
