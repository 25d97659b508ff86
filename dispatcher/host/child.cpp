#include "dispatcher/child.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>

#include "dispatcher/host/descriptor.h"

extern char** environ;

namespace kvdisp12 {
namespace {

using Clock = std::chrono::steady_clock;

struct Pipe {
    Pipe() {
        int ends[2] = {-1, -1};
        if (pipe2(ends, O_CLOEXEC) != 0) return;
        reading = Descriptor(ends[0]);
        writing = Descriptor(ends[1]);
    }
    Descriptor reading, writing;
};

void limit(int resource, uint64_t most) {
    const rlimit value = {most, most};
    if (most > 0) setrlimit(static_cast<__rlimit_resource_t>(resource), &value);
}

// What the new process needs, all made before there is one.
struct Start {
    char** words;
    char** variables;
    const char* folder;
    int input, output, errors, failure;  // the last one takes what keeps it from being started
    pid_t parent;
};

// In the child: nothing but system calls, for other threads may have held locks.
[[noreturn]] void become(const Start& start, const ChildLimits& limits) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != start.parent) _exit(127);
    for (int number : {SIGPIPE, SIGXFSZ}) signal(number, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    dup2(start.input >= 0 ? start.input : null, STDIN_FILENO);
    dup2(start.output >= 0 ? start.output : start.errors, STDOUT_FILENO);
    dup2(start.errors, STDERR_FILENO);
    syscall(SYS_close_range, 3u, ~0u, CLOSE_RANGE_CLOEXEC);
#ifndef __SANITIZE_ADDRESS__  // which reserves more address space than any machine has
    limit(RLIMIT_AS, limits.memory);
#endif
    limit(RLIMIT_FSIZE, limits.file_size);
    limit(RLIMIT_NOFILE, limits.files);
    limit(RLIMIT_CPU, limits.processor_time);
    const rlimit no_core = {0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    if (!*start.folder || chdir(start.folder) == 0) execve(start.words[0], start.words, start.variables);
    const int why = errno;
    [[maybe_unused]] const ssize_t written = write(start.failure, &why, sizeof why);
    _exit(127);
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> all;
    for (std::string& text : texts) all.push_back(text.data());
    all.push_back(nullptr);
    return all;
}

std::string name_in(const std::string& variable) { return variable.substr(0, variable.find('=')); }

// Ours, without those that the child gets otherwise and the one by which a service speaks to its manager.
std::vector<std::string> environment_with(const std::vector<std::string>& own) {
    std::vector<std::string> all = own;
    for (char** entry = environ; *entry; ++entry) {
        const std::string name = name_in(*entry);
        const bool replaced = std::ranges::any_of(own, [&](const auto& each) { return name_in(each) == name; });
        if (!replaced && name != "NOTIFY_SOCKET") all.emplace_back(*entry);
    }
    return all;
}

// What is there to be read; the text keeps the beginning.
void read_available(int pipe, std::string& text) {
    constexpr size_t kMost = 4096;
    char block[4096];
    for (ssize_t got; (got = read(pipe, block, sizeof block)) > 0;) {
        text.append(block, std::min(static_cast<size_t>(got), kMost - text.size()));
    }
}

// Until the process has ended or the time is over; keeps what it says.
bool ends_within(int process, int errors, std::chrono::seconds time, std::string& said) {
    const auto end = Clock::now() + time;
    pollfd watched[] = {{process, POLLIN, 0}, {errors, POLLIN, 0}};
    while (true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        const int ready = poll(watched, 2, static_cast<int>(std::clamp<int64_t>(left, 0, 60000)));
        read_available(errors, said);
        if (watched[0].revents != 0) return true;
        if (ready == 0 && left <= 0) return false;
        if (watched[1].revents & POLLHUP) watched[1].fd = -1;
    }
}

ChildEnd wait_for(pid_t process, const Descriptor& errors, const ChildLimits& limits, const std::stop_token& stop) {
    ChildEnd end{ChildEnd::Kind::Exited, 0, {}, {}};
    fcntl(errors.get(), F_SETFL, O_NONBLOCK);
    const Descriptor handle(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
    bool in_time = false;
    {
        const std::stop_callback on_stop(stop, [process] { kill(-process, SIGKILL); });
        in_time = ends_within(handle.get(), errors.get(), limits.time, end.said);
    }
    if (!in_time) kill(-process, SIGKILL);
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    read_available(errors.get(), end.said);
    end.code = WIFEXITED(status) ? WEXITSTATUS(status) : WTERMSIG(status);
    end.how = (WIFEXITED(status) ? "exit code " : "killed by signal ") + std::to_string(end.code);
    if (!in_time) {
        end.kind = ChildEnd::Kind::TookTooLong;
        end.how = "took too long";
    } else if (!WIFEXITED(status)) {
        end.kind = stop.stop_requested() ? ChildEnd::Kind::Stopped : ChildEnd::Kind::Killed;
    }
    return end;
}

ChildEnd not_started(int why) {
    return {ChildEnd::Kind::NotStarted, why, std::string("cannot be started: ") + std::strerror(why), {}};
}

}  // namespace

ChildEnd run_child(const Child& child, const std::stop_token& stop) {
    if (stop.stop_requested()) return {ChildEnd::Kind::Stopped, 0, "stopped", {}};
    std::vector<std::string> words = child.words, variables = environment_with(child.variables);
    std::vector<char*> arguments = pointers(words), environment = pointers(variables);
    Pipe errors, failure;
    if (!errors.writing || !failure.writing) return not_started(errno);
    const Start start{arguments.data(), environment.data(),   child.folder.c_str(),  child.input,
                      child.output,     errors.writing.get(), failure.writing.get(), getpid()};
    const pid_t process = fork();
    if (process < 0) return not_started(errno);
    if (process == 0) become(start, child.limits);
    setpgid(process, process);  // as it does itself, whoever is first
    errors.writing = Descriptor();
    failure.writing = Descriptor();
    int why = 0;
    if (read(failure.reading.get(), &why, sizeof why) == sizeof why) {
        waitpid(process, nullptr, 0);
        return not_started(why);
    }
    return wait_for(process, errors.reading, child.limits, stop);
}

std::string program_beside(const std::string& name) {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error).parent_path() / name;
    return !error && access(program.c_str(), X_OK) == 0 ? program.string() : "";
}

}  // namespace kvdisp12
