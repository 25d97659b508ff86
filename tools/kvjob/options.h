#pragma once
// The command line: kvjob COMMAND [options] JOB.kv

#include <cstdint>
#include <optional>
#include <string>

#include "drawing/render_job.h"
#include "tools/common/command_line.h"

namespace kvjob {

struct Options {
    std::string command, job;
    bool json = false;             // dump
    std::optional<uint32_t> page;  // dump, text: from 1
    RenderOptions render;
    std::string out;  // images, fonts: the folder
};

void describe(CLI::App& app, Options& options);

}  // namespace kvjob
