#pragma once
// The Windows session that this process runs in.

#include "platform/win32.h"

namespace kv {

inline constexpr DWORD kNoSession = 0xFFFFFFFF;

// The current process's session id, kNoSession when it cannot be found out.
DWORD current_session();

}  // namespace kv
