#pragma once
// Rectangles of a job, right and bottom exclusive.

#include <algorithm>
#include <cstdint>

namespace kvjob {

struct Rect {
    int32_t left, top, right, bottom;
    bool operator==(const Rect&) const = default;
    bool empty() const { return left >= right || top >= bottom; }
};
// What accumulating bounds starts with.
inline constexpr Rect kEmptyRect = {INT32_MAX, INT32_MAX, INT32_MIN, INT32_MIN};

inline Rect intersection(const Rect& a, const Rect& b) {
    return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right), std::min(a.bottom, b.bottom)};
}
// Empty rectangles add nothing; two of them give the zero rectangle.
inline Rect united(const Rect& a, const Rect& b) {
    if (a.empty()) return b.empty() ? Rect{} : b;
    if (b.empty()) return a;
    return {std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right), std::max(a.bottom, b.bottom)};
}
inline bool contains(const Rect& outer, const Rect& inner) {
    return outer.left <= inner.left && outer.top <= inner.top && outer.right >= inner.right &&
           outer.bottom >= inner.bottom;
}
inline Rect ordered(const Rect& r) {
    return {std::min(r.left, r.right), std::min(r.top, r.bottom), std::max(r.left, r.right), std::max(r.top, r.bottom)};
}

inline bool fits_16_bits(int32_t value) { return value == static_cast<int16_t>(value); }
inline bool fits_16_bits(const Rect& r) {
    return r == kEmptyRect ||
           (fits_16_bits(r.left) && fits_16_bits(r.top) && fits_16_bits(r.right) && fits_16_bits(r.bottom));
}

}  // namespace kvjob
