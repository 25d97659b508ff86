#pragma once
// Starting programs, and the dispatcher among them.

#include "support/text.h"

namespace kv {

inline constexpr const WCHAR* kDispatcherProgram = TEXT("kvdisp12.exe");

struct RunOptions {
    WORD show = SW_SHOWNORMAL;
    int attempts = 1;  // 3000 ms apart
    bool wait = false;
    DWORD timeout = INFINITE;  // of the wait, milliseconds
    bool quiet = false;        // shows no failure
};
// TRUE when a process was created. Waiting, the calling thread's window messages are handled. exit_code (may be null)
// receives STILL_ACTIVE while the process runs.
BOOL RunProcess(const WCHAR* command_line, const RunOptions& options, DWORD* exit_code);

using DispatcherArguments = TextBuffer<256>;
using CommandLine = TextBuffer<kPathCapacity + 3 + DispatcherArguments::capacity()>;
void GetDispatcherCommandLine(const WCHAR* arguments, CommandLine& command_line);
// Waits for the process only with "/runonce" among the arguments.
BOOL LaunchDispatcher(const WCHAR* arguments);

// Who starts the dispatcher: the process's name, the driver's where it differs, and the operation, without blanks.
void make_source_name(PathText& name, const WCHAR* operation = TEXT("CDispatcher::StartDoc"));

}  // namespace kv
