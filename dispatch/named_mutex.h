#pragma once
// A mutex that processes share by its name.

#include <atomic>

#include "dispatch/object_names.h"

namespace kv {

class CNamedMutex {
public:
    explicit CNamedMutex(const WCHAR* object_name) : name_(object_name) {}
    // Releases what is held.
    ~CNamedMutex();
    CNamedMutex(const CNamedMutex&) = delete;
    CNamedMutex& operator=(const CNamedMutex&) = delete;

    // TRUE when the mutex is the calling thread's, also when its last owner ended without giving it up. Once more for
    // each call; made at the first.
    BOOL Acquire(DWORD milliseconds);
    BOOL Release();

private:
    ObjectName name_;
    HANDLE handle_ = nullptr;
    DWORD owner_ = 0;  // thread id
    std::atomic<LONG> count_{0};
};

}  // namespace kv
