#pragma once
// The thread's last error says why a step failed; what is cleaned up behind it must not change that.

#include "platform/win32.h"

namespace kv {

// The last error at the end of its life is the one at its start.
class KeepLastError {
public:
    KeepLastError() : error_(GetLastError()) {}
    ~KeepLastError() { SetLastError(error_); }
    KeepLastError(const KeepLastError&) = delete;
    KeepLastError& operator=(const KeepLastError&) = delete;

    DWORD error() const { return error_; }

private:
    const DWORD error_;
};

}  // namespace kv
