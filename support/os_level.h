#pragma once
// The classification of Windows versions that settings, paths and sessions go by.

#include "platform/win32.h"

namespace kv {

// Windows NT 4.0 or older, and Windows Vista, from which on session 0 is isolated and integrity labels exist.
enum : int { kLevelNt4 = 1, kLevelVista = 5 };

// 0: not Windows NT, or unknown. Computed from the system at each call; the process keeps it.
int GetOsLevel();
bool IsServerOs();
// The table behind GetOsLevel.
int classify_os(DWORD major, DWORD minor, DWORD build, bool server);

}  // namespace kv
