#pragma once
// What the calling thread may do: its token is the thread's impersonation token when it has one, else the
// process token.

#include "platform/win32.h"

namespace kv {

enum : DWORD { kIntegrityUnknown = 0, kIntegrityLow = 0x1000, kIntegrityMedium = 0x2000, kIntegrityHigh = 0x3000 };

// The relative identifier of the token's mandatory label. Before integrity levels (OS level below 5), high for
// a member of the Administrators group. 0 when it cannot be found out.
DWORD token_integrity_level();
// Member of the Administrators group (S-1-5-32-544), elevated or not.
bool is_administrator();

}  // namespace kv
