#include "dispatch/named_mutex.h"

#include "dispatch/open_security.h"
#include "support/assert.h"
#include "support/trace.h"

namespace kv {

CNamedMutex::~CNamedMutex() {
    while (count_ > 0 && Release()) {
    }
    if (handle_) CloseHandle(handle_);
}

BOOL CNamedMutex::Acquire(DWORD milliseconds) {
    if (!handle_) {
        OpenSecurity security;
        handle_ = CreateMutexW(security.attributes(), FALSE, name_.c_str());
        if (!handle_) return KV_FAIL(Dispatch, "no mutex %s", TraceText(name_.c_str()).c_str());
    }
    const DWORD result = WaitForSingleObject(handle_, milliseconds);
    if (result != WAIT_OBJECT_0 && result != WAIT_ABANDONED) {
        KV_TRACE(Dispatch, Info, "held by somebody else: %s", TraceText(name_.c_str()).c_str());
        return FALSE;
    }
    owner_ = GetCurrentThreadId();
    KV_ASSERT(count_ >= 0);
    ++count_;
    return TRUE;
}

BOOL CNamedMutex::Release() {
    if (count_ <= 0 || owner_ != GetCurrentThreadId() || !ReleaseMutex(handle_)) return FALSE;
    if (--count_ == 0) owner_ = 0;
    KV_ASSERT(count_ >= 0 && (count_ > 0) == (owner_ != 0));
    return TRUE;
}

}  // namespace kv
