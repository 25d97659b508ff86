#pragma once
// Rectangles in device pixels: left, top, right, bottom, the last two exclusive. In the job file they are four
// signed 16-bit values (Rect16) or four signed 32-bit values (Rect32).

#include "platform/win32.h"
#include "support/little_endian.h"

namespace kv {

// Where accumulating starts; written to the file unchanged.
inline constexpr RECTL kEmptyRect = {0x7FFFFFFF, 0x7FFFFFFF, -0x7FFFFFFF - 1, -0x7FFFFFFF - 1};

inline bool same_rect(const RECTL& a, const RECTL& b) {
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}
inline bool is_accumulator(const RECTL& r) { return same_rect(r, kEmptyRect); }
inline bool is_empty(const RECTL& r) { return r.left >= r.right || r.top >= r.bottom; }
inline bool fits_16_bits(LONG value) { return value == static_cast<int16_t>(value); }
inline bool fits_16_bits(const RECTL& r) {
    return is_accumulator(r) ||
           (fits_16_bits(r.left) && fits_16_bits(r.top) && fits_16_bits(r.right) && fits_16_bits(r.bottom));
}

// Negative for inverted rectangles; never overflows.
inline int64_t width_of(const RECTL& r) { return int64_t{r.right} - r.left; }
inline int64_t height_of(const RECTL& r) { return int64_t{r.bottom} - r.top; }

// left <= right and top <= bottom; kEmptyRect stays as it is.
RECTL normalized(RECTL rect);
bool contains(const RECTL& outer, const RECTL& inner);
// All zero when the two have nothing in common.
RECTL intersection(const RECTL& a, const RECTL& b);
// An empty rectangle adds nothing; the union of two empty ones is all zero.
RECTL union_of(const RECTL& a, const RECTL& b);

inline constexpr size_t kRect16Size = 8, kRect32Size = 16;
void put_rect16(ByteWriter& out, const RECTL& rect);
void put_rect32(ByteWriter& out, const RECTL& rect);

}  // namespace kv
