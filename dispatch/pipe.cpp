#include "dispatch/pipe.h"

#include <algorithm>

#include "dispatch/object_names.h"
#include "support/assert.h"
#include "support/trace.h"

namespace kv {
namespace {

constexpr DWORD kPause = 10;  // milliseconds between two looks

// Null on failure.
HANDLE open_pipe(const WCHAR* name) {
    HANDLE pipe = CreateFileW(name, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    return pipe == INVALID_HANDLE_VALUE ? nullptr : pipe;
}

// Null, and the pipe closed, when it does not read message by message.
HANDLE in_message_mode(HANDLE pipe) {
    DWORD mode = PIPE_READMODE_MESSAGE;
    if (SetNamedPipeHandleState(pipe, &mode, nullptr, nullptr)) return pipe;
    KV_FAIL(Dispatch, "the pipe does not read message by message");
    CloseHandle(pipe);
    return nullptr;
}

}  // namespace

HANDLE OpenDispatcherPipe(const WCHAR* pipe_name, DWORD budget) {
    constexpr DWORD kLongSlice = 5000;  // milliseconds of one wait: the thread looks up now and then
    const DWORD slice = budget == INFINITE ? kLongSlice : budget / 4;
    KV_ASSERT(slice != INFINITE);
    const DWORD start = GetTickCount();
    for (;;) {
        if (WaitNamedPipeW(pipe_name, slice)) {
            if (HANDLE pipe = open_pipe(pipe_name)) return in_message_mode(pipe);
            if (GetLastError() != ERROR_PIPE_BUSY) {  // another client was faster: once more
                return KV_FAIL(Dispatch, "not opened: %s", TraceText(pipe_name).c_str()), nullptr;
            }
        } else {
            SleepEx(kPause, TRUE);
        }
        if (budget != INFINITE && GetTickCount() - start > budget) return nullptr;
    }
}

BOOL WaitForDispatcher(const WCHAR* name, DWORD session, DWORD budget, HANDLE* pipe) {
    constexpr DWORD kDefaultBudget = 10000, kLongestTry = 1000;  // milliseconds
    static_assert(kPause < kLongestTry && kLongestTry < kDefaultBudget);
    if (budget == INFINITE) budget = kDefaultBudget;
    ObjectName pipe_name;
    MakePipeName(nullptr, name, session, pipe_name);
    const DWORD start = GetTickCount();
    for (;;) {
        *pipe = OpenDispatcherPipe(pipe_name.c_str(), std::min(budget, kLongestTry));
        if (*pipe) {
            KV_TRACE(Dispatch, Info, "reached: %s", TraceText(pipe_name.c_str()).c_str());
            return TRUE;
        }
        if (budget == 0 || GetTickCount() - start > budget) {
            KV_TRACE(Dispatch, Info, "not reached in %u ms: %s", static_cast<unsigned>(budget),
                     TraceText(pipe_name.c_str()).c_str());
            return FALSE;
        }
        SleepEx(kPause, TRUE);  // a pipe that denies access says so at once
    }
}

}  // namespace kv
