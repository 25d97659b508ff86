#pragma once
// Which session's dispatcher a document belongs to.

#include "platform/win32.h"

namespace kv {

// The process's session. From Windows Vista on no user works in session 0, so a process there serves the lowest session
// of the calling thread's user, or else the one at the console. kNoSession when nothing can be found out.
DWORD choose_session();

}  // namespace kv
