#pragma once
// What the recorders of paths and clips keep: working buffers, the clip that the job's reader has, and the paths of the
// path escapes.

#include "record/captured_path.h"
#include "record/path_buffer.h"

namespace kv {

struct PathState {
    PathBuffer drawing_path, current_clip, cached_clip;  // of one capacity
    DWORD cached_clip_entry = 0;                         // points of its largest entry
    bool clipped_by_captured = false;                    // the current clip, where there is one, is a captured path
    LONG path_depth = 0;                                 // of nested path escapes; paths are captured while it is not 0
    CapturedPathRef captured;
    SavedPaths saved_paths;

    // Room for encoded paths of that many bytes. FALSE when memory is out.
    BOOL reserve_paths(uint64_t body_bytes);
    // Ends the capture of paths and forgets those that were captured.
    void forget_paths();
};

}  // namespace kv
