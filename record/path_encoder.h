#pragma once
// Engine paths measured and encoded: 28.4 fixed-point coordinates floored to whole device pixels, duplicate pixels
// and straight axis-parallel runs collapsed.

#include "platform/ddi.h"
#include "record/geometry.h"
#include "record/path_buffer.h"

namespace kv {

struct PathMetrics {
    RECTL bounds = {};                // device pixels
    bool wide = false;                // coordinates need 32 bits
    uint64_t size16 = 0, size32 = 0;  // upper bounds of the encoded body, bytes
    DWORD entries = 0;
    uint64_t points = 0;
    DWORD largest_entry = 0;  // points
};

// First pass over a path. A block of more than 65,535 points counts as several entries.
PathMetrics MeasurePath(PATHOBJ* path);

// Second pass: writes head and body, and puts the counts of what was kept into the metrics of the first. The body
// is empty when every figure collapsed to a pixel. FALSE when the buffer is too small, and with last error 87 when
// more than 65,535 entries are kept, which the format cannot hold.
BOOL EncodePath(PATHOBJ* path, PathBuffer& buffer, PathMetrics& metrics);

}  // namespace kv
