#include "dispatch/launch.h"

#include <algorithm>

#include "dispatch/product_file.h"
#include "support/assert.h"
#include "support/memory.h"
#include "support/message.h"
#include "support/paths.h"
#include "support/process_state.h"
#include "support/trace.h"

namespace kv {
namespace {

BOOL create_process(const WCHAR* command_line, const RunOptions& options, PROCESS_INFORMATION& process) {
    constexpr DWORD kPause = 3000;  // milliseconds between attempts: a machine that is short of memory may recover
    const size_t units = text_length(command_line) + 1;
    HeapArray<WCHAR> writable;  // the system may change the text while it reads it
    if (!writable.alloc(units)) return FALSE;
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESHOWWINDOW;
    startup.wShowWindow = options.show;
    for (int attempt = 1;; ++attempt) {
        copy_text(writable.get(), units, command_line);
        if (CreateProcessW(nullptr, writable.get(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process)) {
            KV_TRACE(Dispatch, Info, "started: %s", TraceText(command_line).c_str());
            return TRUE;
        }
        KV_FAIL(Dispatch, "attempt %d of %d: %s", attempt, options.attempts, TraceText(command_line).c_str());
        if (attempt >= options.attempts) return FALSE;
        SleepEx(kPause, TRUE);
    }
}

// FALSE when the thread is asked to quit.
bool handle_window_messages() {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        if (message.message == WM_QUIT) {
            PostQuitMessage(static_cast<int>(message.wParam));
            return false;
        }
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    return true;
}

void wait_for_process(HANDLE process, DWORD timeout) {
    const DWORD start = GetTickCount();
    while (handle_window_messages()) {
        const DWORD passed = GetTickCount() - start;
        if (timeout != INFINITE && passed >= timeout) return;
        const DWORD left = timeout == INFINITE ? timeout : timeout - passed;
        KV_ASSERT(left > 0);
        if (MsgWaitForMultipleObjects(1, &process, FALSE, left, QS_ALLINPUT) != WAIT_OBJECT_0 + 1) return;
    }
}

}  // namespace

BOOL RunProcess(const WCHAR* command_line, const RunOptions& options, DWORD* exit_code) {
    PROCESS_INFORMATION process = {};
    if (!create_process(command_line, options, process)) {
        if (!options.quiet) report_system_error(TEXT("CreateProcess"), GetLastError());
        return FALSE;
    }
    KV_ASSERT(process.hProcess && process.hThread);
    CloseHandle(process.hThread);
    if (options.wait) wait_for_process(process.hProcess, options.timeout);
    DWORD code = 0;
    GetExitCodeProcess(process.hProcess, &code);
    if (exit_code) *exit_code = code;
    CloseHandle(process.hProcess);
    return TRUE;
}

void GetDispatcherCommandLine(const WCHAR* arguments, CommandLine& command_line) {
    PathText program;
    FindProductFile(process_state().print_environment, kDispatcherProgram, program);
    if (arguments && *arguments) {
        format_text(command_line.data(), command_line.capacity(), TEXT("\"%s\" %s"), program.c_str(), arguments);
    } else {
        command_line.assign(program.c_str());
    }
}

BOOL LaunchDispatcher(const WCHAR* arguments) {
    CommandLine command_line;
    GetDispatcherCommandLine(arguments, command_line);
    DispatcherArguments lowercased(arguments);
    CharLowerBuffW(lowercased.data(), static_cast<DWORD>(lowercased.length()));
    RunOptions options;
    options.attempts = 3;  // and 6 s in all, within the 30 s that a document waits
    options.wait = find_text(lowercased.c_str(), TEXT("/runonce")) != nullptr;
    options.timeout = 10000;  // milliseconds, for a dispatcher that does one thing and ends
    options.quiet = true;
    return RunProcess(command_line.c_str(), options, nullptr);
}

void make_source_name(PathText& name, const WCHAR* operation) {
    PathText driver;
    GetModuleBaseName(nullptr, name);
    GetModuleBaseName(process_state().module, driver);
    if (!same_text_ignoring_case(name.c_str(), driver.c_str())) {
        name.append(TEXT("!"));
        name.append(driver.c_str());
    }
    name.append(TEXT("!"));
    name.append(operation);
    std::replace(name.data(), name.data() + name.length(), WCHAR{' '}, WCHAR{'_'});
}

}  // namespace kv
