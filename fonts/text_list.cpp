#include "fonts/text_list.h"

#include <algorithm>
#include <cstring>

#include "support/assert.h"
#include "support/text.h"

namespace kv {

BOOL TextList::reserve(size_t units) {
    if (units <= capacity_) return TRUE;
    constexpr size_t kStart = 1024;  // units
    const size_t grown = std::max({units, capacity_ * 2, kStart});
    HeapArray<WCHAR> larger;
    if (!larger.alloc(grown)) return FALSE;
    if (used_) std::memcpy(larger.get(), units_.get(), used_ * sizeof(WCHAR));
    units_ = std::move(larger);
    capacity_ = grown;
    return TRUE;
}

BOOL TextList::add(const WCHAR* units, size_t length) {
    if (!reserve(used_ + length + 1)) return FALSE;
    KV_ASSERT(used_ + length < capacity_);
    if (length) std::memcpy(units_.get() + used_, units, length * sizeof(WCHAR));
    units_[used_ + length] = 0;
    used_ += length + 1;
    ++count_;
    return TRUE;
}

bool TextList::contains(const WCHAR* text) const {
    const size_t wanted = text_length(text);
    for (size_t at = 0; at < used_;) {
        const WCHAR* candidate = units_.get() + at;
        const size_t length = text_length(candidate);
        // Letters of either case have the same length, and comparing lengths costs nothing.
        if (length == wanted && same_text_ignoring_case(candidate, text)) return true;
        at += length + 1;
    }
    return false;
}

void TextList::list(const WCHAR** texts) const {
    for (size_t at = 0; at < used_; at += text_length(units_.get() + at) + 1) *texts++ = units_.get() + at;
}

}  // namespace kv
