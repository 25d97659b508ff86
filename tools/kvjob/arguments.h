#pragma once
// The command line.

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "drawing/render_job.h"

namespace kvjob {

struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Arguments {
    std::string command, job;
    bool help = false;
    bool json = false;             // dump
    std::optional<uint32_t> page;  // dump, text: from 1
    RenderOptions render;
    std::string out;  // images, fonts: the folder
};

// Throws UsageError.
Arguments parse_arguments(const std::vector<std::string>& words);
extern const char* const kUsage;

}  // namespace kvjob
