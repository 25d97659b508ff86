#pragma once
// The union of many overlapping ranges of small indices, in one pass and without memory of its own.

#include <algorithm>
#include <cstddef>

#include "platform/win32.h"
#include "support/assert.h"

namespace kv {

struct IndexRange {
    DWORD start, length;  // start below 65536 and length at most 65536; an empty range does not count
};

// Calls visit(start, end) for each maximal run of indices that the ranges cover, in ascending order; ranges that
// touch make one run. range_at(i) gives the i-th of count ranges and is called several times.
//
// Starts are looked at window by window, so that the longest range of each fits a small table; the work grows with
// the number of ranges and the extent of the starts, never with the lengths.
template <class RangeAt, class Visit>
void for_each_merged_range(DWORD count, RangeAt range_at, Visit visit) {
    constexpr DWORD kWindow = 2048;  // starts: 8 KB of the stack, 32 passes over the ranges at most
    DWORD last_start = 0;
    for (DWORD i = 0; i < count; ++i) {
        const IndexRange range = range_at(i);
        KV_ASSERT(range.start < 65536 && range.length <= 65536);
        if (range.length) last_start = std::max(last_start, range.start);
    }
    DWORD run_start = 0, run_end = 0;
    for (DWORD window = 0; window <= last_start; window += kWindow) {
        DWORD longest[kWindow] = {};
        for (DWORD i = 0; i < count; ++i) {
            const IndexRange range = range_at(i);
            if (range.start < window || range.start - window >= kWindow) continue;
            longest[range.start - window] = std::max(longest[range.start - window], range.length);
        }
        const DWORD used = std::min(kWindow, last_start - window + 1);
        for (DWORD i = 0; i < used; ++i) {
            if (longest[i] == 0) continue;
            const DWORD start = window + i;
            if (run_end != run_start && start > run_end) {
                visit(run_start, run_end);
                run_start = run_end = start;
            }
            if (run_end == run_start) run_start = start;
            run_end = std::max(run_end, start + longest[i]);
        }
    }
    if (run_end != run_start) visit(run_start, run_end);
}

}  // namespace kv
