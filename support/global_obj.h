#pragma once
// A growable block of movable global memory, kept locked while it is allocated.

#include "platform/win32.h"
#include "support/assert.h"

namespace kv {

class CGlobalObj {
public:
    CGlobalObj() = default;
    virtual ~CGlobalObj() { free(); }
    CGlobalObj(CGlobalObj&& other) noexcept { swap(other); }
    CGlobalObj& operator=(CGlobalObj&& other) noexcept {
        swap(other);
        return *this;
    }

    // Allocates size bytes (1 for size 0); an existing block is grown to at least size instead. Growth by
    // append takes at least growth_step bytes at a time. FALSE when memory is out, which is reported under the
    // operation's name (kQuietly: a new block that cannot be had is not).
    BOOL Alloc(DWORD size, UINT flags = GMEM_MOVEABLE, DWORD growth_step = 0, const WCHAR* operation = kAlloc);
    static constexpr const WCHAR* kAlloc = TEXT("CGlobalObj::Alloc");
    // Enlarges the block by extra bytes. On failure the old block is kept, but unlocked.
    BOOL Resize(DWORD extra);

    enum class Capacity { Enough, Grown, Failed };
    Capacity ensure_capacity(DWORD required);
    // Copies n bytes behind the used ones.
    BOOL append(const void* data, DWORD n);
    void free();

    // Null while nothing is allocated and after a failed growth.
    BYTE* data() const { return data_; }
    DWORD size() const { return size_; }
    DWORD used() const { return used_; }
    void set_used(DWORD used) {
        KV_ASSERT(used <= size_);
        used_ = used;
    }

private:
    void swap(CGlobalObj& other) noexcept;
    BOOL lock();

    HGLOBAL handle_ = nullptr;
    BYTE* data_ = nullptr;
    DWORD size_ = 0;
    DWORD growth_step_ = 0;
    UINT flags_ = 0;
    DWORD used_ = 0;
};

}  // namespace kv
