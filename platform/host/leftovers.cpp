#include "platform/host/leftovers.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <charconv>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <set>
#include <thread>

namespace fs = std::filesystem;

namespace kv::host {
namespace {

struct Doomed {
    std::mutex lock;
    std::set<std::string> paths;
};
// Never destroyed: the thread that waits for signals outlives main().
Doomed& doomed() {
    static Doomed& state = *new Doomed;
    return state;
}

// In clock ticks since the system's start, as /proc/PID/stat has it in its 22nd field; 0 for no such process.
uint64_t start_time(const std::string& process) {
    std::ifstream in("/proc/" + process + "/stat");
    std::string text;
    std::getline(in, text);
    size_t at = text.rfind(')');  // the second field is the program's name, which may hold anything
    constexpr int kFieldsBetween = 20;
    for (int i = 0; i < kFieldsBetween && at != std::string::npos; ++i) at = text.find(' ', at + 1);
    return at == std::string::npos ? 0 : std::strtoull(text.c_str() + at, nullptr, 10);
}

// Whether a name says that its process is gone: PREFIX, process id, '-', start time, and anything.
bool is_of_the_dead(const std::string& name, const std::string& prefix) {
    if (!name.starts_with(prefix)) return false;
    const size_t at = prefix.size(), dash = name.find('-', at);
    const char *end = name.data() + name.size(), *time = name.data() + dash + 1;
    uint64_t process = 0, started = 0;
    if (dash == std::string::npos || std::from_chars(name.data() + at, end, process).ptr != time - 1 ||
        std::from_chars(time, end, started).ptr == time) {
        return false;
    }
    return start_time(std::to_string(process)) != started;
}

bool is_free_and_own(const fs::path& path) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) return false;
    struct stat info;
    const bool own = fstat(descriptor, &info) == 0 && info.st_uid == geteuid();
    const bool free = own && flock(descriptor, LOCK_EX | LOCK_NB) == 0;
    close(descriptor);
    return free;
}

void remove_all_doomed() {
    std::lock_guard guard(doomed().lock);
    std::error_code error;
    for (const std::string& path : doomed().paths) {
        // What another thread is writing into a folder meanwhile may come after its names were read.
        for (int attempt = 0; attempt < 10 && fs::exists(fs::symlink_status(path, error)); ++attempt) {
            fs::remove_all(path, error);
        }
    }
}

}  // namespace

std::string name_of_own(const std::string& prefix) {
    static const uint64_t started = start_time("self");
    return prefix + std::to_string(getpid()) + '-' + std::to_string(started);
}

std::string make_own_folder(const std::string& parent, const std::string& prefix) {
    std::string path = parent + '/' + name_of_own(prefix) + "-XXXXXX";
    if (!mkdtemp(path.data())) return "";
    // The descriptor stays open, and with it the lock.
    const int descriptor = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor >= 0) flock(descriptor, LOCK_EX | LOCK_NB);
    remove_at_signal(path);
    return path;
}

void clear_leftovers(const std::string& parent, const std::string& prefix,
                     const std::function<bool(const std::string& path)>& keeps) {
    std::error_code error;
    for (fs::directory_iterator entry(parent, error), end; !error && entry != end; entry.increment(error)) {
        if (!is_of_the_dead(entry->path().filename().string(), prefix) || !is_free_and_own(entry->path())) continue;
        if (keeps && keeps(entry->path().string())) continue;
        std::error_code ignored;
        fs::remove_all(entry->path(), ignored);
    }
}

void remove_at_signal(const std::string& path) {
    std::lock_guard guard(doomed().lock);
    doomed().paths.insert(path);
}

void keep_at_signal(const std::string& path) {
    std::lock_guard guard(doomed().lock);
    doomed().paths.erase(path);
}

void end_cleanly_at_signals() {
    static sigset_t awaited;
    sigemptyset(&awaited);
    for (int number : {SIGINT, SIGTERM, SIGHUP, SIGXFSZ, SIGPIPE}) {
        struct sigaction before;
        if (sigaction(number, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) sigaddset(&awaited, number);
    }
    // A failed write signals its own thread alone, where that is blocked; what is sent from outside comes to the
    // thread that waits.
    pthread_sigmask(SIG_BLOCK, &awaited, nullptr);
    std::thread([] {
        int number = 0;
        if (sigwait(&awaited, &number) != 0) return;
        remove_all_doomed();
        _exit(128 + number);
    }).detach();
}

}  // namespace kv::host
