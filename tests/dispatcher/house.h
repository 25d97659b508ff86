#pragma once
// A dispatcher's parts in the test's own process, with folders of their own, on this volume or on others; and children
// that are stopped in the middle of what they do.

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "dispatcher/intake.h"
#include "dispatcher/recovery.h"
#include "tests/common/bytes.h"
#include "tests/common/workspace.h"

namespace kv::test {

namespace fs = std::filesystem;
using namespace kvdisp12;

// Whether the folder lies on another volume than the state, which lies in memory.
struct Layout {
    bool temp_elsewhere, outbox_elsewhere;
};

struct House {
    House(Layout layout, const std::string& job) {
        const std::string disk = own_folder("/dev/shm"), other = own_folder("/tmp");
        temp = (layout.temp_elsewhere ? other : disk) + "/temp";
        places.state = disk + "/state";
        places.outbox = (layout.outbox_elsewhere ? other : disk) + "/outbox";
        places.roots = {temp};
        fs::create_directory(temp);
        write_file(temp + "/~KV1.kv", job);
    }
    ~House() {
        for (const std::string& folder : folders) fs::remove_all(folder);
    }
    std::string own_folder(const std::string& where) {
        std::string name = where + "/kvdisp12-test-XXXXXX";
        return folders.emplace_back(mkdtemp(name.data()));
    }
    Text job_path() const { return client_path(temp + "/~KV1.kv"); }

    std::vector<std::string> folders;
    std::string temp;
    Places places;
};

// What is made of a dispatcher's parts in this process.
struct Dispatcher {
    // lines: get what it logs.
    explicit Dispatcher(const Places& places, std::vector<std::string>* lines = nullptr)
        : journal(places.state + "/journal.db", Journal::Access::Own, [](const std::string&) {}),
          log(lines ? sinks_to(*lines) : std::vector<std::unique_ptr<LogSink>>{}),
          store{places, journal, log, {}, {}} {}

    struct Lines : LogSink {
        explicit Lines(std::vector<std::string>& target) : lines(target) {}
        void write(Level, const std::string& text, const Fields&) override { lines.push_back(text); }
        std::vector<std::string>& lines;
    };
    static std::vector<std::unique_ptr<LogSink>> sinks_to(std::vector<std::string>& lines) {
        std::vector<std::unique_ptr<LogSink>> sinks;
        sinks.push_back(std::make_unique<Lines>(lines));
        return sinks;
    }

    Journal journal;
    Log log;
    Store store;
    Filer filer{store};
    Limits limits;
    Intake intake{store, filer, limits, 1};
    Recovery recovery{store, filer};
};

inline std::vector<std::string> files_in(const std::string& folder) {
    std::vector<std::string> names;
    std::error_code none;
    for (const auto& entry : fs::directory_iterator(folder, none)) names.push_back(entry.path().filename().string());
    return names;
}

enum class Stop { Kill, DiskFull };

inline bool changes_a_disk(uint64_t call) {
    for (const long known : {SYS_openat, SYS_write, SYS_pwrite64, SYS_fsync, SYS_fdatasync, SYS_ftruncate, SYS_fchmod,
                             SYS_linkat, SYS_renameat2, SYS_unlinkat, SYS_mkdir, SYS_fallocate, SYS_sendto}) {
        if (call == static_cast<uint64_t>(known)) return true;
    }
    return false;
}

inline void answer_disk_full(pid_t child) {
#ifdef __x86_64__
    user_regs_struct registers;
    ptrace(PTRACE_GETREGS, child, nullptr, &registers);
    registers.orig_rax = ~0ull;  // no call
    ptrace(PTRACE_SETREGS, child, nullptr, &registers);
    ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
    waitpid(child, nullptr, 0);
    ptrace(PTRACE_GETREGS, child, nullptr, &registers);
    registers.rax = static_cast<unsigned long long>(-ENOSPC);
    ptrace(PTRACE_SETREGS, child, nullptr, &registers);
#else
    ptrace(PTRACE_KILL, child, nullptr, nullptr);
#endif
}

// Has a child do something and stops it at the n-th entry or return of a system call that changes a disk (full disk: at
// the n-th such call). False: it came to its end before. begin: what the parent does when the child is there; threads
// that it needs start there, for a process that is forked beside them waits for their locks for ever.
inline bool interrupted(
    const std::function<void()>& work, Stop stop, int n, const std::function<void()>& begin = [] {}) {
    const pid_t child = fork();
    if (child == 0) {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        raise(SIGSTOP);
        try {
            work();
        } catch (const std::exception&) {  // what it cannot do without has failed
        }
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    begin();
    uint64_t call = 0;
    for (bool stopped = false;;) {
        ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        waitpid(child, &status, 0);
        if (!WIFSTOPPED(status)) return stopped;
        __ptrace_syscall_info info = {};
        ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof info, &info);
        const bool entry = info.op == PTRACE_SYSCALL_INFO_ENTRY;
        if (entry) call = info.entry.nr;
        if (stopped || !changes_a_disk(call) || (stop == Stop::DiskFull && !entry) || --n > 0) continue;
        stopped = true;
        if (stop == Stop::DiskFull) {
            answer_disk_full(child);
            continue;
        }
        kill(child, SIGKILL);
        waitpid(child, &status, 0);
        return true;
    }
}

}  // namespace kv::test
