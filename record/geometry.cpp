#include "record/geometry.h"

#include <algorithm>
#include <utility>

#include "support/assert.h"

namespace kv {

RECTL normalized(RECTL rect) {
    if (is_accumulator(rect)) return rect;
    if (rect.left > rect.right) std::swap(rect.left, rect.right);
    if (rect.top > rect.bottom) std::swap(rect.top, rect.bottom);
    KV_ASSERT(width_of(rect) >= 0 && height_of(rect) >= 0);
    return rect;
}

bool contains(const RECTL& outer, const RECTL& inner) {
    return outer.left <= inner.left && outer.top <= inner.top && outer.right >= inner.right &&
           outer.bottom >= inner.bottom;
}

RECTL intersection(const RECTL& a, const RECTL& b) {
    RECTL common = {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
                    std::min(a.bottom, b.bottom)};
    return is_empty(a) || is_empty(b) || is_empty(common) ? RECTL{} : common;
}

RECTL union_of(const RECTL& a, const RECTL& b) {
    if (is_empty(a)) return is_empty(b) ? RECTL{} : b;
    if (is_empty(b)) return a;
    return {std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right), std::max(a.bottom, b.bottom)};
}

void put_rect16(ByteWriter& out, const RECTL& rect) {
    if (is_accumulator(rect)) {
        for (uint32_t value : {0x7FFFu, 0x7FFFu, 0x8000u, 0x8000u}) out.u16(value);
        return;
    }
    for (LONG value : {rect.left, rect.top, rect.right, rect.bottom}) out.u16(static_cast<uint32_t>(value));
}

void put_rect32(ByteWriter& out, const RECTL& rect) {
    for (LONG value : {rect.left, rect.top, rect.right, rect.bottom}) out.u32(static_cast<uint32_t>(value));
}

}  // namespace kv
