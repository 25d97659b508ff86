#include "dispatcher/machine.h"

#include <malloc.h>
#include <pthread.h>
#include <pwd.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>

#include "dispatcher/child.h"
#include "dispatcher/host/system_journal.h"
#include "dispatcher/store.h"
#include "platform/host/control.h"

namespace kvdisp12 {
namespace {

namespace fs = std::filesystem;

sigset_t ending_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (int number : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&signals, number);
    return signals;
}

// With fewer it would find no place for a client, and say nothing of it.
void require_files() {
    constexpr rlim_t kFewest = 24;    // its own, of a client and of a delivery
    constexpr rlim_t kEnough = 1024;  // for as many clients as there may be
    rlimit files = {};
    if (getrlimit(RLIMIT_NOFILE, &files) != 0) return;
    files.rlim_cur = std::max(files.rlim_cur, std::min(files.rlim_max, kEnough));
    setrlimit(RLIMIT_NOFILE, &files);
    if (files.rlim_cur >= kFewest) return;
    throw std::runtime_error("no more than " + std::to_string(files.rlim_cur) + " files may be open, " +
                             std::to_string(kFewest) + " are needed");
}

}  // namespace

void join_machine(bool serves) {
    constexpr int kArenas = 2;  // of memory: one for each thread would be more than the rest of this program
    mallopt(M_ARENA_MAX, kArenas);
    umask(077);
    const sigset_t awaited = ending_signals();
    if (serves) pthread_sigmask(SIG_BLOCK, &awaited, nullptr);
    if (serves) require_files();
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);  // a write beyond a limit fails instead
    // A dispatcher that the driver started has its drive; started by hand, it serves the drive of all the user's
    // programs.
    if (!std::getenv("KARVO_DRIVE")) kv::host::use_user_drive();
    kv::host::set_messages_quiet(true);
}

void at_end_of_session(std::function<void()> call) {
    std::thread([call = std::move(call)] {
        const sigset_t awaited = ending_signals();
        int number = 0;
        while (sigwait(&awaited, &number) == 0) call();
    }).detach();
}

void tell_ready() { sd_notify(0, "READY=1"); }
void tell_stopping() { sd_notify(0, "STOPPING=1"); }

void end_process(int exit_code) { _exit(exit_code); }

std::vector<std::string> command_line(int argc, char** argv) { return {argv + 1, argv + argc}; }

std::string default_folder() { return kv::host::user_data_folder(); }

std::string registered_outbox() { return {}; }

std::vector<std::string> state_folders_of_all(const std::string& pattern) {
    if (!pattern.empty()) return folders_like(pattern);
    std::vector<std::string> folders;
    setpwent();
    while (const passwd* user = getpwent()) folders.push_back(std::string(user->pw_dir) + "/.local/share/karvo");
    endpwent();
    std::ranges::sort(folders);
    folders.erase(std::unique(folders.begin(), folders.end()), folders.end());
    return folders;
}

std::string settings_file() {
    const char* configured = std::getenv("XDG_CONFIG_HOME");
    const char* home = std::getenv("HOME");
    const std::string base = configured && *configured ? configured : std::string(home ? home : "") + "/.config";
    const std::string own = base + "/karvo/kvdisp12.conf";
    return access(own.c_str(), R_OK) == 0 ? own : "/etc/karvo/kvdisp12.conf";
}

std::string user_id() { return std::to_string(geteuid()); }
std::string user_name() {
    const passwd* user = getpwuid(geteuid());
    return user ? user->pw_name : user_id();
}

std::string full_path(const std::string& path) { return fs::absolute(path).lexically_normal().string(); }

std::vector<std::string> temporary_folders() {
    std::error_code error;
    return {kv::host::host_path(u"C:\\Windows\\Temp"), kv::host::host_path(u"C:\\Users\\user\\AppData\\LocalLow"),
            fs::temp_directory_path(error).string()};
}

Text client_path(const std::string& native) { return kv::host::win32_path(native); }

std::vector<std::unique_ptr<LogSink>> log_sinks(const std::string& named_file, const std::string& default_file) {
    std::vector<std::unique_ptr<LogSink>> sinks;
    if (named_file.empty()) sinks.push_back(system_journal());
    if (sinks.empty() || !sinks.front()) {
        sinks.clear();
        sinks.push_back(std::make_unique<LogFile>(named_file.empty() ? default_file : named_file));
    }
    return sinks;
}

std::string native_path_of(TextView path) { return kv::host::host_path(Text(path)); }

std::optional<int> leave_system_account(DWORD) { return std::nullopt; }

DWORD process_of_client(HANDLE pipe) {
    ULONG process = 0;
    return GetNamedPipeClientProcessId(pipe, &process) ? process : 0;
}
// The pipe's folder is this user's alone, and the host's pipes turn others away.
Peer peer_of(HANDLE pipe) { return process_of_client(pipe) ? Peer::User : Peer::Stranger; }
SECURITY_ATTRIBUTES* pipe_security() { return nullptr; }

bool recover_job(const std::string& damaged, const std::string& recovered) {
    constexpr int kSomethingLost = 3;
    const std::string program = program_beside("kvjob");
    if (program.empty()) return false;
    const ChildEnd end = run_child({.words = {program, "recover", damaged, "-o", recovered}});
    return end.exited_with(0) || end.exited_with(kSomethingLost);
}

}  // namespace kvdisp12
