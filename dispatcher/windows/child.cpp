#include "dispatcher/child.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <optional>

#include "dispatcher/windows/handles.h"

namespace kvdisp12 {
namespace {

// A program gets its arguments as one text, which it parts again: backslashes count double before a quote alone.
Text quoted(const Text& word) {
    if (!word.empty() && word.find_first_of(TEXT(" \t\"")) == Text::npos) return word;
    Text text = TEXT("\"");
    size_t backslashes = 0;
    for (const WCHAR unit : word) {
        if (unit == '"') text.append(backslashes + 1, TEXT('\\'));
        backslashes = unit == '\\' ? backslashes + 1 : 0;
        text += unit;
    }
    text.append(backslashes, TEXT('\\'));
    return text + TEXT('"');
}

Text command_of(const std::vector<std::string>& words) {
    Text command;
    for (const std::string& word : words) command += (command.empty() ? TEXT("") : TEXT(" ")) + quoted(from_utf8(word));
    return command;
}

struct IgnoringCase {
    bool operator()(const Text& one, const Text& other) const {
        return CompareStringOrdinal(one.c_str(), -1, other.c_str(), -1, TRUE) == CSTR_LESS_THAN;
    }
};

// Ours, without those that the child gets otherwise; in the order that the system wants them.
Text environment_with(const std::vector<std::string>& own) {
    std::map<Text, Text, IgnoringCase> all;
    const auto put = [&](const Text& variable) {
        const size_t equals = variable.find('=', 1);  // the folder of a drive is a variable "=C:"
        if (equals != Text::npos) all[variable.substr(0, equals)] = variable;
    };
    WCHAR* ours = GetEnvironmentStringsW();
    for (const WCHAR* each = ours; each && *each; each += Text(each).size() + 1) put(each);
    FreeEnvironmentStringsW(ours);
    for (const std::string& each : own) put(from_utf8(each));
    Text block;
    for (const auto& [name, variable] : all) block.append(variable).append(1, 0);
    return block.append(1, 0);
}

// A job object: what is in it has limits, and ends with the last handle of it.
Handle make_job(const ChildLimits& limits) {
    constexpr uint64_t kTicks = 10'000'000;  // of 100 ns
    Handle job(CreateJobObjectW(nullptr, nullptr));
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION most = {};
    most.BasicLimitInformation.LimitFlags =
        JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE | JOB_OBJECT_LIMIT_DIE_ON_UNHANDLED_EXCEPTION;
    if (limits.memory > 0) {
        most.BasicLimitInformation.LimitFlags |= JOB_OBJECT_LIMIT_JOB_MEMORY;
        most.JobMemoryLimit = static_cast<SIZE_T>(std::min<uint64_t>(limits.memory, SIZE_MAX));
    }
    if (limits.processor_time > 0) {
        most.BasicLimitInformation.LimitFlags |= JOB_OBJECT_LIMIT_JOB_TIME;
        most.BasicLimitInformation.PerJobUserTimeLimit.QuadPart = static_cast<LONGLONG>(limits.processor_time * kTicks);
    }
    if (job && !SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &most, sizeof most))
        return Handle();
    return job;
}

// What the program started goes on behind its own end.
void let_go(HANDLE job) {
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION none = {};
    SetInformationJobObject(job, JobObjectExtendedLimitInformation, &none, sizeof none);
}

// The handles that a process is started with, and no others of ours.
class Inherited {
public:
    explicit Inherited(std::vector<HANDLE> handles) : handles_(std::move(handles)) {
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        bytes_.resize(size);
        list_ = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(bytes_.data());
        if (!InitializeProcThreadAttributeList(list_, 1, 0, &size)) list_ = nullptr;
        if (list_ && !UpdateProcThreadAttribute(list_, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_.data(),
                                                handles_.size() * sizeof(HANDLE), nullptr, nullptr)) {
            DeleteProcThreadAttributeList(list_);
            list_ = nullptr;
        }
    }
    ~Inherited() {
        if (list_) DeleteProcThreadAttributeList(list_);
    }
    Inherited(const Inherited&) = delete;
    Inherited& operator=(const Inherited&) = delete;
    LPPROC_THREAD_ATTRIBUTE_LIST list() const { return list_; }

private:
    std::vector<HANDLE> handles_;
    std::vector<BYTE> bytes_;
    LPPROC_THREAD_ATTRIBUTE_LIST list_ = nullptr;
};

struct Running {
    Handle process, job, errors;
};

// Nothing where it cannot be started; the last error tells why.
std::optional<Running> start(const Child& child) {
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    HANDLE reading = nullptr, writing = nullptr;
    if (!CreatePipe(&reading, &writing, &inherited, 0)) return std::nullopt;
    Handle errors(reading);
    const Handle theirs(writing);
    const Handle nothing(CreateFileW(TEXT("NUL"), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                                     OPEN_EXISTING, 0, nullptr));
    Handle job = make_job(child.limits);
    const Inherited handles({theirs.get(), nothing.get()});
    if (!job || !nothing || !handles.list()) return std::nullopt;
    STARTUPINFOEXW how = {};
    how.StartupInfo.cb = sizeof how;
    how.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    how.StartupInfo.hStdInput = nothing.get();
    how.StartupInfo.hStdOutput = how.StartupInfo.hStdError = theirs.get();
    how.lpAttributeList = handles.list();
    Text command = command_of(child.words), environment = environment_with(child.variables);
    const Text program = from_utf8(child.words[0]), folder = from_utf8(child.folder);
    PROCESS_INFORMATION made = {};
    // It runs when it is in the job, and not before.
    if (!CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, TRUE,
                        CREATE_SUSPENDED | CREATE_NO_WINDOW | CREATE_UNICODE_ENVIRONMENT | EXTENDED_STARTUPINFO_PRESENT,
                        environment.data(), folder.empty() ? nullptr : folder.c_str(), &how.StartupInfo, &made)) {
        return std::nullopt;
    }
    Handle process(made.hProcess);
    const Handle thread(made.hThread);
    if (!AssignProcessToJobObject(job.get(), process.get()) || ResumeThread(thread.get()) == DWORD(-1)) {
        const DWORD why = GetLastError();
        TerminateProcess(process.get(), 1);
        SetLastError(why);
        return std::nullopt;
    }
    return Running{std::move(process), std::move(job), std::move(errors)};
}

// What is there to be read; the text keeps the beginning.
void read_available(HANDLE pipe, std::string& text) {
    constexpr size_t kMost = 4096;
    char block[4096];
    DWORD available = 0, got = 0;
    while (PeekNamedPipe(pipe, nullptr, 0, nullptr, &available, nullptr) && available > 0 &&
           ReadFile(pipe, block, sizeof block, &got, nullptr)) {
        text.append(block, std::min<size_t>(got, kMost - text.size()));
    }
}

// Until the process has ended or the time is over; keeps what it says.
bool ends_within(const Running& child, std::chrono::seconds time, std::string& said) {
    using Clock = std::chrono::steady_clock;
    constexpr DWORD kLongestPause = 50;  // milliseconds, in which its pipe is not read
    const auto end = Clock::now() + time;
    for (DWORD pause = 1;; pause = std::min(pause * 2, kLongestPause)) {
        const bool ended = WaitForSingleObject(child.process.get(), pause) == WAIT_OBJECT_0;
        read_available(child.errors.get(), said);
        if (ended || Clock::now() >= end) return ended;
    }
}

ChildEnd not_started() {
    const DWORD why = GetLastError();
    return {ChildEnd::Kind::NotStarted, static_cast<int>(why), "cannot be started: " + system_text(why), {}};
}

}  // namespace

ChildEnd run_child(const Child& child, const std::stop_token& stop) {
    constexpr UINT kEnded = 0xFFFF;    // the exit code of what is killed
    constexpr DWORD kException = 0xC;  // the uppermost digit of exit codes that are exceptions
    if (stop.stop_requested()) return {ChildEnd::Kind::Stopped, 0, "stopped", {}};
    const auto running = start(child);
    if (!running) return not_started();
    ChildEnd end{ChildEnd::Kind::Exited, 0, {}, {}};
    bool in_time = false;
    {
        const HANDLE job = running->job.get();
        const std::stop_callback on_stop(stop, [job] { TerminateJobObject(job, kEnded); });
        in_time = ends_within(*running, child.limits.time, end.said);
    }
    if (!in_time || stop.stop_requested()) {
        TerminateJobObject(running->job.get(), kEnded);
        WaitForSingleObject(running->process.get(), INFINITE);
    } else {
        let_go(running->job.get());
    }
    DWORD code = 0;
    GetExitCodeProcess(running->process.get(), &code);
    read_available(running->errors.get(), end.said);
    end.code = static_cast<int>(code);
    end.how = "exit code " + std::to_string(code);
    if (!in_time) {
        end.kind = ChildEnd::Kind::TookTooLong;
        end.how = "took too long";
    } else if (stop.stop_requested() && code == kEnded) {
        end.kind = ChildEnd::Kind::Stopped;
        end.how = "stopped";
    } else if (code >> 28 == kException) {
        char text[32];
        std::snprintf(text, sizeof text, "exception 0x%08lX", code);
        end.kind = ChildEnd::Kind::Killed;
        end.how = text;
    }
    return end;
}

}  // namespace kvdisp12
