#include "platform/trace_sink.h"

namespace kv {
namespace {

HANDLE trace_file = INVALID_HANDLE_VALUE;

}  // namespace

const char* trace_environment() { return nullptr; }

// Always a new file, so that nothing that lies in the folder is followed or overwritten.
void open_trace_sink(const WCHAR* folder) {
    if (!folder || trace_file != INVALID_HANDLE_VALUE) return;
    for (unsigned number = 1; number < 100 && trace_file == INVALID_HANDLE_VALUE; ++number) {
        WCHAR path[MAX_PATH + 40];
        wsprintfW(path, number == 1 ? L"%s\\KVTRACE_%u.log" : L"%s\\KVTRACE_%u-%u.log", folder, GetCurrentProcessId(),
                  number);
        trace_file = CreateFileW(path, FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                 nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (trace_file == INVALID_HANDLE_VALUE && GetLastError() != ERROR_FILE_EXISTS) return;
    }
}

void close_trace_sink() {
    if (trace_file != INVALID_HANDLE_VALUE) CloseHandle(trace_file);
    trace_file = INVALID_HANDLE_VALUE;
}

void write_trace_line(const char* line, size_t length) {
    WCHAR wide[512];
    const int units = MultiByteToWideChar(CP_UTF8, 0, line, static_cast<int>(length), wide, 511);
    wide[units] = 0;
    OutputDebugStringW(wide);
    DWORD written = 0;
    if (trace_file != INVALID_HANDLE_VALUE) WriteFile(trace_file, line, static_cast<DWORD>(length), &written, nullptr);
}

}  // namespace kv
