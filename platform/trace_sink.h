#pragma once
// Where lines of the trace go, and where a process is told to write them. On Windows: the file KVTRACE_<process>.log in
// a folder that the caller names, and the debugger. On the host: standard error, or who asked for them
// (platform/host/control.h); what to trace is the environment's variable KV_TRACE.

#include <cstddef>

#include "platform/win32.h"

namespace kv {

// What this process is told to trace from outside the registry; null: nothing.
const char* trace_environment();
// Before the first line. folder: null where none is known; lines then go to the debugger alone.
void open_trace_sink(const WCHAR* folder);
void close_trace_sink();
// One line of UTF-8 with its line feed. Keeps no state, allocates nothing, and what fails is dropped.
void write_trace_line(const char* line, size_t length);

}  // namespace kv
