#pragma once
// The command line: kvjob COMMAND [options] JOB.kv

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "drawing/render_job.h"
#include "tools/common/command_line.h"

namespace kvjob {

struct Options {
    std::string command;
    std::vector<std::string> jobs;  // one; check, info, text, pages: one or more; "-" is standard input
    bool json = false;              // info, check, dump, fonts, images, text
    std::optional<uint32_t> page;   // dump, text: from 1
    RenderOptions render;
    std::function<std::vector<size_t>(size_t count)> pages;  // pages, report: which of so many
    std::string output;                                      // recover, pages: the new job; report
    bool recover = false;                                    // reads what can be had of a damaged job
    std::string out;                                         // images, fonts: the folder

    // Bytes that a record may inflate to, and that drawing may take.
    uint64_t memory() const { return render.memory ? render.memory : kCanvasMemory; }
};

void describe(CLI::App& app, Options& options);

// Which pages text tells, from 0, the end exclusive. Throws std::runtime_error where there is no such page.
std::pair<size_t, size_t> text_pages(const Options& options, size_t count);

}  // namespace kvjob
