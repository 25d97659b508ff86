#pragma once
// Opening the dispatcher's pipe, with its budgets of time.

#include "platform/win32.h"

namespace kv {

// Budgets are milliseconds. The handle reads message by message; null when none was opened in time.
HANDLE OpenDispatcherPipe(const WCHAR* pipe_name, DWORD budget);
// Tries again until the budget is used up (10 s for INFINITE). `name` is the pipe's, without prefix and session.
BOOL WaitForDispatcher(const WCHAR* name, DWORD session, DWORD budget, HANDLE* pipe);

}  // namespace kv
