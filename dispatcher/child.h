#pragma once
// A program in a process of its own, with limits on what it may cost. It does not outlive the thread that waits for it.

#include <chrono>
#include <cstdint>
#include <stop_token>
#include <string>
#include <vector>

namespace kvdisp12 {

// Those that are 0 are not set.
struct ChildLimits {
    uint64_t memory = 2ull << 30;     // bytes of address space
    uint64_t file_size = 4ull << 30;  // bytes of each file that it writes; on the host alone
    uint64_t files = 64;              // that are open; the same
    uint64_t processor_time = 300;    // seconds
    std::chrono::seconds time{300};   // after which it is killed, with all that it started; never 0
};

struct Child {
    std::vector<std::string> words;           // a full path, and arguments
    std::vector<std::string> variables = {};  // NAME=VALUE, beside ours
    int input = -1, output = -1;              // descriptors; -1: nothing to read, and output goes where errors go. On
                                              // the host alone
    std::string folder = {};                  // that it works in; empty: ours
    ChildLimits limits = {};
};

struct ChildEnd {
    enum class Kind { Exited, Killed, TookTooLong, Stopped, NotStarted } kind;
    int code;          // of the exit; of others as the system has it
    std::string how;   // it ended: "exit code 2"
    std::string said;  // the first 4 KiB of its standard error

    bool exited_with(int exit_code) const { return kind == Kind::Exited && code == exit_code; }
    // "exit code 2: "what it said"".
    std::string told() const;
};

// Runs it to its end in a process group or job of its own. A request to stop kills all that is in there.
ChildEnd run_child(const Child& child, const std::stop_token& stop = {});

// A program that lies beside this one; empty where there is none.
std::string program_beside(const std::string& name);

}  // namespace kvdisp12
