// Processes of the host behind Win32 handles, and waiting.

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <span>

#include "platform/host/state.h"
#include "platform/host/win32/process.h"

extern char** environ;

namespace kv::host {
namespace {

constexpr DWORD kPollPause = 5;  // milliseconds

// Processes whose handles were closed while they ran; asked after now and then, so that none stays behind as a zombie.
class Orphans {
public:
    void add(pid_t process) {
        std::lock_guard guard(lock_);
        running_.push_back(process);
    }
    void reap() {
        std::lock_guard guard(lock_);
        std::erase_if(running_, [](pid_t process) { return waitpid(process, nullptr, WNOHANG) != 0; });
    }

private:
    std::mutex lock_;
    std::vector<pid_t> running_;
};
Orphans& orphans() {
    static Orphans state;
    return state;
}

class Process : public Waitable {
public:
    explicit Process(pid_t id) : id_(id) {}
    ~Process() override {
        if (Process::poll() == WAIT_TIMEOUT) orphans().add(id_);
    }
    DWORD poll() override {
        int status = 0;
        if (!ended_ && waitpid(id_, &status, WNOHANG) != 0) {
            ended_ = true;
            constexpr DWORD kKilledBySignal = 0xC0000000;
            exit_code_ = WIFEXITED(status) ? static_cast<DWORD>(WEXITSTATUS(status))
                                           : kKilledBySignal | static_cast<DWORD>(WTERMSIG(status));
        }
        return ended_ ? DWORD{WAIT_OBJECT_0} : DWORD{WAIT_TIMEOUT};
    }
    DWORD exit_code() {
        poll();
        return ended_ ? exit_code_ : DWORD{STILL_ACTIVE};
    }

private:
    pid_t id_;
    bool ended_ = false;
    DWORD exit_code_ = 0;
};

struct Thread : Object {};

bool is_blank(char16_t unit) { return unit == ' ' || unit == '\t'; }

bool is_program(const std::u16string& path) { return access(host_path(path).c_str(), X_OK) == 0; }

// The program at the start of a command line, and where its arguments begin: in quotes, or the shortest beginning up to
// a blank that names a program.
std::u16string program_of(const std::u16string& line, size_t& arguments) {
    if (!line.empty() && line[0] == '"') {
        const size_t end = std::min(line.find(u'"', 1), line.size());
        arguments = std::min(end + 1, line.size());
        return line.substr(1, end - 1);
    }
    for (size_t end = 0; end <= line.size(); ++end) {
        if (end < line.size() && !is_blank(line[end])) continue;
        arguments = end;
        if (end == line.size() || is_program(line.substr(0, end))) break;
    }
    return line.substr(0, arguments);
}

// By the rules of C programs on Windows: quotes group, and backslashes matter only in front of a quote.
std::vector<std::string> split_arguments(const std::u16string& line, size_t at) {
    std::vector<std::string> arguments;
    while (true) {
        while (at < line.size() && is_blank(line[at])) ++at;
        if (at == line.size()) return arguments;
        std::u16string argument;
        for (bool quoted = false; at < line.size() && (quoted || !is_blank(line[at]));) {
            const size_t slashes = std::min(line.find_first_not_of(u'\\', at), line.size()) - at;
            const bool at_quote = at + slashes < line.size() && line[at + slashes] == '"';
            argument.append(at_quote ? slashes / 2 : slashes, u'\\');
            at += slashes;
            if (at_quote && slashes % 2 == 0) {
                quoted = !quoted;
                ++at;
            } else if (at_quote || (slashes == 0 && at < line.size())) {
                argument += line[at++];
            }
        }
        arguments.push_back(to_utf8(argument));
    }
}

// What this process was given, and what makes the new one part of the same machine.
std::vector<std::string> environment_of_child() {
    std::vector<std::string> variables;
    for (char** entry = environ; *entry; ++entry) {
        const std::string text = *entry;
        if (!text.starts_with(std::string(kDriveVariable) + '=') &&
            !text.starts_with(std::string(kSharedVariable) + '=') &&
            !text.starts_with(std::string(kSessionVariable) + '=')) {
            variables.push_back(text);
        }
    }
    variables.push_back(std::string(kDriveVariable) + '=' + host_path(u"C:\\"));
    variables.push_back(std::string(kSharedVariable) + '=' + shared_folder());
    variables.push_back(std::string(kSessionVariable) + '=' + std::to_string(machine().session));
    return variables;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> all;
    all.reserve(texts.size() + 1);
    for (std::string& text : texts) all.push_back(text.data());
    all.push_back(nullptr);
    return all;
}

// In a session of its own and without the caller's standard streams, whose end nobody may have to wait for. 0 or errno.
int spawn(const std::string& program, std::vector<std::string> arguments, pid_t* process) {
    arguments.insert(arguments.begin(), program);
    std::vector<std::string> variables = environment_of_child();
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    sigset_t none;
    sigemptyset(&none);
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    for (int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_RDWR, 0);
    }
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK);
    posix_spawnattr_setsigmask(&attributes, &none);
    const int error = posix_spawn(process, program.c_str(), &actions, &attributes, pointers(arguments).data(),
                                  pointers(variables).data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return error;
}

DWORD wait_for_any(std::span<const HANDLE> handles, DWORD milliseconds, bool for_messages) {
    const DWORD start = GetTickCount();
    for (;;) {
        MSG message;
        if (for_messages && PeekMessageW(&message, nullptr, 0, 0, 0))
            return WAIT_OBJECT_0 + static_cast<DWORD>(handles.size());
        for (size_t i = 0; i < handles.size(); ++i) {
            Waitable* object = object_of<Waitable>(handles[i]);
            if (!object) return fail_with(ERROR_INVALID_HANDLE, DWORD{WAIT_FAILED});
            const DWORD result = object->poll();
            if (result != WAIT_TIMEOUT) return result + static_cast<DWORD>(i);
        }
        const DWORD passed = GetTickCount() - start;
        if (milliseconds != INFINITE && passed >= milliseconds) return WAIT_TIMEOUT;
        pass_time(milliseconds == INFINITE ? kPollPause : std::min(kPollPause, milliseconds - passed));
    }
}

}  // namespace
}  // namespace kv::host

using namespace kv::host;

BOOL CreateProcessW(LPCWSTR application, LPWSTR command_line, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*, BOOL, DWORD,
                    LPVOID, LPCWSTR, STARTUPINFOW*, PROCESS_INFORMATION* process) {
    if (should_fail(CallKind::Process, "CreateProcessW")) return fail_with(ERROR_ACCESS_DENIED);
    orphans().reap();
    size_t arguments = 0;
    const std::u16string line = command_line;
    const std::u16string program = program_of(line, arguments);
    const std::string path = host_path(application ? application : program);
    if (access(path.c_str(), F_OK) != 0) return fail_with(ERROR_FILE_NOT_FOUND);
    pid_t id = 0;
    const int error = spawn(path, split_arguments(line, arguments), &id);
    if (error != 0) return fail_with(error == ENOMEM ? DWORD{ERROR_NOT_ENOUGH_MEMORY} : DWORD{ERROR_ACCESS_DENIED});
    process->hProcess = make_handle(std::make_unique<Process>(id));
    process->hThread = make_handle(std::make_unique<Thread>());
    process->dwProcessId = process->dwThreadId = static_cast<DWORD>(id);
    return TRUE;
}

BOOL GetExitCodeProcess(HANDLE handle, LPDWORD code) {
    if (should_fail(CallKind::Process, "GetExitCodeProcess")) return fail_with(ERROR_ACCESS_DENIED);
    Process* process = object_of<Process>(handle);
    if (!process) return fail_with(ERROR_INVALID_HANDLE);
    *code = process->exit_code();
    return TRUE;
}

DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds) {
    if (should_fail(CallKind::Process, "WaitForSingleObject")) {
        return fail_with(ERROR_INVALID_HANDLE, DWORD{WAIT_FAILED});
    }
    return wait_for_any({&object, 1}, milliseconds, false);
}

DWORD MsgWaitForMultipleObjects(DWORD count, const HANDLE* objects, BOOL wait_all, DWORD milliseconds, DWORD) {
    if (wait_all || should_fail(CallKind::Process, "MsgWaitForMultipleObjects")) {
        return fail_with(ERROR_INVALID_PARAMETER, DWORD{WAIT_FAILED});
    }
    return wait_for_any({objects, count}, milliseconds, true);
}

DWORD GetCurrentProcessId() { return static_cast<DWORD>(getpid()); }
BOOL ProcessIdToSessionId(DWORD, LPDWORD session) {
    *session = machine().session;
    return machine().session_query_fails ? fail_with(ERROR_ACCESS_DENIED) : TRUE;
}
DWORD GetCurrentThreadId() { return static_cast<DWORD>(gettid()); }
