#include "support/record_buffer.h"

#include <cstring>

#include "support/assert.h"
#include "support/text.h"
#include "support/trace.h"

namespace kv {

void CRecordBuffer::reset() {
    data_ = next_ = inline_;
    capacity_ = kInlineSize;
    size_ = 0;
    inline_[0] = inline_[1] = 0;
}

BOOL CRecordBuffer::grow(DWORD n) {
    constexpr DWORD kSlack = 1024;  // bytes, so that small additions do not grow it each time
    if (n > 0xFFFFFFFF - kSlack - size_) return KV_FAIL(Support, "a record of more than 4 GiB");
    bool in_place = data_ == inline_;
    if (!overflow_.Alloc(size_ + n + kSlack)) {
        // A failed growth leaves the old block unlocked; take up its place again.
        if (!in_place && overflow_.Alloc(0)) data_ = overflow_.data();
        next_ = data_ + size_;
        return FALSE;
    }
    if (in_place) std::memcpy(overflow_.data(), inline_, size_);
    data_ = overflow_.data();
    next_ = data_ + size_;
    capacity_ = overflow_.size();
    KV_ASSERT(capacity_ - size_ > n && data_);
    return TRUE;
}

BOOL CRecordBuffer::append(const void* bytes, DWORD n) {
    constexpr DWORD kTerminator = 2;  // bytes, behind what is composed
    if (n > capacity_ - size_ - kTerminator && !grow(n)) return FALSE;
    KV_ASSERT(n + kTerminator <= capacity_ - size_ && next_ == data_ + size_);
    if (n) std::memcpy(next_, bytes, n);
    next_ += n;
    size_ += n;
    next_[0] = next_[1] = 0;
    return TRUE;
}

BOOL CRecordBuffer::append_text(const WCHAR* text, bool terminated) {
    DWORD units = static_cast<DWORD>(text_length(text));
    KV_ASSERT(units <= 0x7FFFFFFF);
    const WCHAR zero = 0;
    return append(text, units * 2) && (!terminated || append(&zero, 2));
}

void CRecordBuffer::free() {
    overflow_.free();
    reset();
}

}  // namespace kv
