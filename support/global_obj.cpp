#include "support/global_obj.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "support/assert.h"
#include "support/last_error.h"
#include "support/message.h"
#include "support/trace.h"

namespace kv {

void CGlobalObj::swap(CGlobalObj& other) noexcept {
    std::swap(handle_, other.handle_);
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    std::swap(growth_step_, other.growth_step_);
    std::swap(flags_, other.flags_);
    std::swap(used_, other.used_);
}

BOOL CGlobalObj::lock() {
    KV_ASSERT(handle_ && !data_);
    data_ = static_cast<BYTE*>(GlobalLock(handle_));
    return data_ != nullptr;
}

BOOL CGlobalObj::Alloc(DWORD size, UINT flags, DWORD growth_step, const WCHAR* operation) {
    if (handle_) {
        if (size > size_) return Resize(size - size_);
        return data_ || lock();
    }
    size = std::max<DWORD>(size, 1);
    handle_ = GlobalAlloc(flags, size);
    if (!handle_) {
        if (operation) report_out_of_memory(operation);
        return KV_FAIL(Support, "no %u bytes of movable memory", static_cast<unsigned>(size));
    }
    size_ = size;
    flags_ = flags;
    growth_step_ = growth_step;
    used_ = 0;
    if (lock()) return TRUE;
    free();
    return KV_FAIL(Support, "movable memory cannot be locked");
}

BOOL CGlobalObj::Resize(DWORD extra) {
    if (!handle_) return Alloc(extra, flags_ ? flags_ : static_cast<UINT>(GMEM_MOVEABLE), 0);
    if (extra == 0) return TRUE;
    if (data_) GlobalUnlock(handle_);
    data_ = nullptr;
    HGLOBAL grown = extra <= 0xFFFFFFFF - size_ ? GlobalReAlloc(handle_, size_ + extra, flags_) : nullptr;
    if (grown) {
        handle_ = grown;
        size_ += extra;
        if (lock()) return TRUE;
    }
    report_out_of_memory(TEXT("CGlobalObj::Resize"));
    return KV_FAIL(Support, "%u bytes of movable memory cannot become %u more", static_cast<unsigned>(size_),
                   static_cast<unsigned>(extra));
}

CGlobalObj::Capacity CGlobalObj::ensure_capacity(DWORD required) {
    KV_ASSERT(used_ <= size_ && (handle_ || size_ == 0));
    if (required <= size_) return data_ || (handle_ && lock()) ? Capacity::Enough : Capacity::Failed;
    return Resize(std::max(growth_step_, required - size_)) ? Capacity::Grown : Capacity::Failed;
}

BOOL CGlobalObj::append(const void* data, DWORD n) {
    if (n == 0) return TRUE;
    if (!data || n > 0xFFFFFFFF - used_) return KV_FAIL(Support, "nothing to append, or too much");
    if (ensure_capacity(used_ + n) == Capacity::Failed) return FALSE;
    KV_ASSERT(data_ && size_ - used_ >= n);
    std::memcpy(data_ + used_, data, n);
    used_ += n;
    return TRUE;
}

void CGlobalObj::free() {
    if (!handle_) return;
    const KeepLastError keep;  // unlocking says 0
    if (data_) GlobalUnlock(handle_);
    GlobalFree(handle_);
    handle_ = nullptr;
    data_ = nullptr;
    size_ = used_ = 0;
}

}  // namespace kv
