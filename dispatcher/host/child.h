#pragma once
// A program in a process of its own, with limits on what it may cost.

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace kvdisp12 {

struct ChildLimits {
    uint64_t memory = 2ull << 30;     // bytes of address space
    uint64_t file_size = 4ull << 30;  // bytes of each file that it writes
    uint64_t files = 64;              // that are open
    std::chrono::seconds time{300};   // after which it is killed, with all that it started
};

// Runs a program (a full path) with standard streams on /dev/null, a group of its own and these variables beside ours.
// Its exit code; -1 where it could not be started, was killed, or took too long.
int run_limited(const std::vector<std::string>& words, const ChildLimits& limits,
                const std::vector<std::string>& variables = {});

// A program that lies beside this one; empty where there is none.
std::string program_beside(const std::string& name);

}  // namespace kvdisp12
