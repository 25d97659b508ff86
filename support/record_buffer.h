#pragma once
// Composes the payload of one record: small ones in place, larger ones in movable memory.

#include "support/global_obj.h"

namespace kv {

class CRecordBuffer {
public:
    CRecordBuffer() { reset(); }

    void reset();
    // FALSE when memory is out; what was composed so far stays.
    BOOL append(const void* bytes, DWORD n);
    // The units of the text, and its terminating 0 when asked. A null text appends only the latter.
    BOOL append_text(const WCHAR* text, bool terminated);
    // Gives back the movable memory.
    void free();

    // Followed by a 16-bit zero that size() does not count.
    const BYTE* data() const { return data_; }
    DWORD size() const { return size_; }

private:
    BOOL grow(DWORD n);

    static constexpr DWORD kInlineSize = 2048;  // bytes, most payloads fit
    BYTE* data_ = nullptr;
    BYTE* next_ = nullptr;
    DWORD capacity_ = 0;
    DWORD size_ = 0;
    BYTE inline_[kInlineSize];
    CGlobalObj overflow_;
};

}  // namespace kv
