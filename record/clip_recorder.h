#pragma once
// Makes the clip of the job's reader equal to the clip of a drawing call, with a record only on change.

#include "platform/ddi.h"
#include "record/path_buffer.h"

namespace kv {

struct Document;

// bounds: what the caller is about to draw, device pixels, or null. FALSE when a write failed, memory is out or
// the engine has no path of a complex clip.
BOOL RecordClip(Document& document, CLIPOBJ* clip, const RECTL* bounds);
BOOL SetCurrentClip(Document& document, const PathView& clip);
BOOL ResetClip(Document& document);

// The clip of a call that draws later.
struct KeptClip {
    enum class Kind { None, Rect, Path, Unchanged } kind = Kind::None;
    RECTL rect = {};
    PathBuffer path;
    DWORD largest_entry = 0;
};
// FALSE when memory is out or the engine has no path of a complex clip.
BOOL KeepClip(Document& document, CLIPOBJ* clip, KeptClip& kept);
// Makes it current for what is drawn within the bounds, unless a captured path is the clip.
BOOL RecordKeptClip(Document& document, KeptClip& kept, const RECTL& bounds);

}  // namespace kv
