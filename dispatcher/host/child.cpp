#include "dispatcher/host/child.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

extern char** environ;

namespace kvdisp12 {
namespace {

void limit(int resource, uint64_t most) {
    const rlimit value = {most, most};
    setrlimit(static_cast<__rlimit_resource_t>(resource), &value);
}

// In the child: nothing but system calls, for other threads may have held locks.
[[noreturn]] void become(char** words, char** variables, const ChildLimits& limits) {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    setpgid(0, 0);
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    for (int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(null, stream);
    limit(RLIMIT_AS, limits.memory);
    limit(RLIMIT_FSIZE, limits.file_size);
    limit(RLIMIT_NOFILE, limits.files);
    limit(RLIMIT_CORE, 0);
    execve(words[0], words, variables);
    _exit(127);
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> all;
    for (std::string& text : texts) all.push_back(text.data());
    all.push_back(nullptr);
    return all;
}

bool ends_within(pid_t child, std::chrono::seconds time) {
    const int handle = static_cast<int>(syscall(SYS_pidfd_open, child, 0));
    pollfd watched = {handle, POLLIN, 0};
    const int ended = poll(&watched, 1, static_cast<int>(std::chrono::milliseconds(time).count()));
    if (handle >= 0) close(handle);
    return ended == 1;
}

}  // namespace

int run_limited(const std::vector<std::string>& words, const ChildLimits& limits,
                const std::vector<std::string>& variables) {
    std::vector<std::string> own_words = words, all_variables;
    for (char** entry = environ; *entry; ++entry) all_variables.emplace_back(*entry);
    all_variables.insert(all_variables.end(), variables.begin(), variables.end());
    std::vector<char*> arguments = pointers(own_words), environment = pointers(all_variables);
    const pid_t child = fork();
    if (child < 0) return -1;
    if (child == 0) become(arguments.data(), environment.data(), limits);
    if (!ends_within(child, limits.time)) kill(-child, SIGKILL);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string program_beside(const std::string& name) {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error).parent_path() / name;
    return !error && access(program.c_str(), X_OK) == 0 ? program.string() : "";
}

}  // namespace kvdisp12
