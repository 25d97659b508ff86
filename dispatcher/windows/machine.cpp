#include "dispatcher/machine.h"

#include <userenv.h>

#include <thread>

#include "dispatcher/store.h"
#include "dispatcher/windows/handles.h"
#include "platform/windows/system_library.h"
#include "settings/outbox.h"

namespace kvdisp12 {
namespace {

constexpr const WCHAR* kProduct = TEXT("Karvo");

// Empty where the system has no such folder.
std::string known_folder(const KNOWNFOLDERID& id) {
    PWSTR path = nullptr;
    const bool known = SUCCEEDED(SHGetKnownFolderPath(id, 0, nullptr, &path));
    const std::string folder = known ? to_utf8(path) : "";
    CoTaskMemFree(path);
    return folder;
}

bool exists(const std::string& path) { return GetFileAttributesW(long_path(path).c_str()) != INVALID_FILE_ATTRIBUTES; }

void report_event(const std::string& text) {
    const HANDLE source = RegisterEventSourceW(nullptr, kProduct);
    if (!source) return;
    const Text line = from_utf8(text);
    const WCHAR* lines[] = {line.c_str()};
    ReportEventW(source, EVENTLOG_ERROR_TYPE, 0, 1, nullptr, 1, 0, lines, nullptr);
    DeregisterEventSource(source);
}

class EventLog : public LogSink {
public:
    void write(Level level, const std::string& text, const Fields&) override {
        if (level == Level::Error) report_event(text);
    }
};

std::function<void()>& end_call() {
    static std::function<void()> call;
    return call;
}

// The session's end, and a request to close: the process ends when it is ready, and the system waits for that.
LRESULT CALLBACK answer_message(HWND window, UINT message, WPARAM first, LPARAM second) {
    switch (message) {
        case WM_QUERYENDSESSION:
            return TRUE;
        case WM_ENDSESSION:
            if (!first) return 0;
            end_call()();
            Sleep(INFINITE);
            return 0;
        case WM_CLOSE:
            end_call()();
            return 0;
        default:
            return DefWindowProcW(window, message, first, second);
    }
}

// A window that is never shown: only windows are told of the session's end.
void wait_for_messages() {
    WNDCLASSW kind = {};
    kind.lpfnWndProc = answer_message;
    kind.hInstance = GetModuleHandleW(nullptr);
    kind.lpszClassName = TEXT("KarvoDispatcher");
    if (!RegisterClassW(&kind) ||
        !CreateWindowW(kind.lpszClassName, kProduct, 0, 0, 0, 0, 0, nullptr, nullptr, kind.hInstance, nullptr)) {
        return;
    }
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) DispatchMessageW(&message);
}

constinit kv::SystemFunction<decltype(WTSQueryUserToken)> query_user_token(TEXT("wtsapi32.dll"), "WTSQueryUserToken");
constinit kv::SystemFunction<decltype(CreateEnvironmentBlock)> create_environment(TEXT("userenv.dll"),
                                                                                  "CreateEnvironmentBlock");
constinit kv::SystemFunction<decltype(DestroyEnvironmentBlock)> destroy_environment(TEXT("userenv.dll"),
                                                                                    "DestroyEnvironmentBlock");

bool start_as(HANDLE token) {
    void* environment = nullptr;
    if (!create_environment(&environment, token, FALSE)) return false;
    Text command = GetCommandLineW(), program(MAX_PATH, 0);
    for (;;) {
        const DWORD length = GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size()));
        if (length < program.size()) break;
        program.resize(program.size() * 2);
    }
    WCHAR desktop[] = TEXT("winsta0\\default");
    STARTUPINFOW start = {};
    start.cb = sizeof start;
    start.lpDesktop = desktop;
    PROCESS_INFORMATION process = {};
    const BOOL started = CreateProcessAsUserW(token, program.c_str(), command.data(), nullptr, nullptr, FALSE,
                                              CREATE_UNICODE_ENVIRONMENT, environment, nullptr, &start, &process);
    const DWORD error = GetLastError();
    destroy_environment(environment);
    if (started) {
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
    }
    SetLastError(error);
    return started;
}

}  // namespace

void join_machine(bool) { SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX); }

void at_end_of_session(std::function<void()> call) {
    end_call() = std::move(call);
    std::thread(wait_for_messages).detach();
}

void tell_ready() {}
void tell_stopping() {}

void end_process(int exit_code) {
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(exit_code));
    for (;;) Sleep(INFINITE);
}

std::optional<int> leave_system_account(DWORD session) {
    if (user_of(own_token().get()) != well_known(WinLocalSystemSid)) return std::nullopt;
    HANDLE token = nullptr;
    const bool known = query_user_token(session, &token);
    const Handle user(token);
    if (known && start_as(user.get())) return 0;
    report_event("The dispatcher does not serve session " + std::to_string(session) + " as the system itself, and " +
                 (known ? "cannot be started as its user" : "the session has no user") + ": error " +
                 std::to_string(GetLastError()));
    return 1;
}

// The program's main function is given its arguments in the system's code page, which loses characters.
std::vector<std::string> command_line(int, char**) {
    int count = 0;
    WCHAR** texts = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::string> arguments;
    for (int i = 1; i < count; ++i) arguments.push_back(to_utf8(texts[i]));
    LocalFree(texts);
    return arguments;
}

std::string default_folder() {
    const std::string base = known_folder(FOLDERID_LocalAppData);
    return base.empty() ? full_path("karvo") : base + "\\karvo";
}

std::string registered_outbox() {
    kv::PathText folder;
    kv::read_outbox(folder);
    return to_utf8(folder.c_str());
}

std::vector<std::string> state_folders_of_all(const std::string& pattern) {
    if (!pattern.empty()) return folders_like(pattern);
    return folders_like(known_folder(FOLDERID_UserProfiles) + "\\%u\\AppData\\Local\\karvo");
}

std::string settings_file() {
    const std::string own = default_folder() + "\\kvdisp12.conf";
    return exists(own) ? own : known_folder(FOLDERID_ProgramData) + "\\Karvo\\kvdisp12.conf";
}

std::string user_id() { return text_of(user_of(own_token().get())); }

std::string user_name() {
    WCHAR name[257];
    DWORD size = static_cast<DWORD>(std::size(name));
    return GetUserNameW(name, &size) ? to_utf8(name) : user_id();
}

std::string full_path(const std::string& path) {
    const Text relative = from_utf8(path);
    Text absolute(GetFullPathNameW(relative.c_str(), 0, nullptr, nullptr), 0);
    absolute.resize(GetFullPathNameW(relative.c_str(), static_cast<DWORD>(absolute.size()), absolute.data(), nullptr));
    return to_utf8(absolute);
}

std::vector<std::string> temporary_folders() {
    std::vector<std::string> folders;
    WCHAR path[MAX_PATH + 1];
    if (GetTempPathW(MAX_PATH, path)) folders.push_back(to_utf8(path));
    const std::string local = known_folder(FOLDERID_LocalAppData);
    if (!local.empty()) folders.push_back(local + "\\Temp");
    folders.push_back(known_folder(FOLDERID_LocalAppDataLow));
    if (GetSystemWindowsDirectoryW(path, MAX_PATH)) folders.push_back(to_utf8(path) + "\\Temp");
    for (std::string& folder : folders) {
        while (folder.ends_with('\\')) folder.pop_back();
    }
    std::erase_if(folders, [](const std::string& folder) { return folder.empty(); });
    return folders;
}

Text client_path(const std::string& native) { return from_utf8(native); }
std::string native_path_of(TextView path) { return to_utf8(path); }

std::vector<std::unique_ptr<LogSink>> log_sinks(const std::string& named_file, const std::string& default_file) {
    std::vector<std::unique_ptr<LogSink>> sinks;
    sinks.push_back(std::make_unique<LogFile>(named_file.empty() ? default_file : named_file));
    sinks.push_back(std::make_unique<EventLog>());
    return sinks;
}

DWORD process_of_client(HANDLE pipe) {
    ULONG process = 0;
    return GetNamedPipeClientProcessId(pipe, &process) ? process : 0;
}

Peer peer_of(HANDLE pipe) {
    if (!ImpersonateNamedPipeClient(pipe)) return Peer::Stranger;
    HANDLE token = nullptr;
    const bool opened = OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &token);
    if (!RevertToSelf()) end_process(1);  // nothing may be done with another's rights
    const Handle client(token);
    if (!opened) return Peer::Stranger;
    const Sid user = user_of(client.get());
    if (user.empty()) return Peer::Stranger;
    if (user == user_of(own_token().get())) return Peer::User;
    return user == well_known(WinLocalSystemSid) ? Peer::System : Peer::Stranger;
}

// The system and this user, whose programs may have a low integrity level.
SECURITY_ATTRIBUTES* pipe_security() {
    static SECURITY_ATTRIBUTES attributes = [] {
        const Text sddl = TEXT("D:P(A;;GA;;;SY)(A;;GA;;;") + from_utf8(user_id()) + TEXT(")S:(ML;;NW;;;LW)");
        SECURITY_ATTRIBUTES made = {sizeof made, nullptr, FALSE};
        if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl.c_str(), SDDL_REVISION_1,
                                                                  &made.lpSecurityDescriptor, nullptr)) {
            throw std::runtime_error("no security descriptor for the pipe: error " + std::to_string(GetLastError()));
        }
        return made;
    }();
    return &attributes;
}

// There is no program here that reads jobs.
bool recover_job(const std::string&, const std::string&) { return false; }

}  // namespace kvdisp12
