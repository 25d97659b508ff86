#pragma once
// Engine paths measured and encoded: 28.4 fixed-point coordinates floored to whole device pixels, duplicate pixels
// and straight axis-parallel runs collapsed.

#include "platform/ddi.h"
#include "record/geometry.h"
#include "record/path_blocks.h"
#include "record/path_buffer.h"

namespace kv {

struct PathMetrics {
    RECTL bounds = {};    // device pixels
    bool wide = false;    // coordinates need 32 bits
    uint64_t size32 = 0;  // upper bound of the encoded body, bytes
    DWORD entries = 0;
    uint64_t points = 0;
    DWORD largest_entry = 0;  // points
    uint64_t figures = 0;
    bool curves = false;
    // More entries than a record counts: they are joined to fewer and longer ones.
    bool joined = false;
    PathUse use = PathUse::Lines;
};

// Takes the parts of a path that has more entries than a count holds, each of whole figures.
class PathParts {
public:
    virtual BOOL add(const PathView& part) = 0;

protected:
    ~PathParts() = default;
};

// First pass over a path. A block of more than 65,535 points counts as several entries.
PathMetrics MeasurePath(PATHOBJ* path, PathUse use = PathUse::Lines);

// Second pass: writes head and body, and puts the counts of what was kept into the metrics of the first. The body
// is empty when every figure collapsed to a pixel. Lines of more than 65,535 figures are given to `parts`, all but the
// last part; an area is always whole. FALSE when the buffer is too small, when a part was not taken, when memory is
// out, and with last error 87 when nothing takes parts.
BOOL EncodePath(PATHOBJ* path, PathBuffer& buffer, PathMetrics& metrics, PathParts* parts = nullptr);

}  // namespace kv
