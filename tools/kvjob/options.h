#pragma once
// The command line: kvjob COMMAND [options] JOB.kv

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "drawing/render_job.h"
#include "reader/dump.h"
#include "tools/common/command_line.h"

namespace kvjob {

struct Options {
    std::string command;
    std::vector<std::string> jobs;  // one; check, info, text, pages: one or more; "-" is standard input
    bool json = false;              // info, check, dump, fonts, images, text
    RenderOptions render;
    std::function<std::vector<size_t>(size_t count)> pages;  // dump, text, report, pages: which of so many, from 1
    std::string output;                                      // recover, pages: the new job; report
    bool recover = false;                                    // reads what can be had of a damaged job
    std::string out;                                         // images, fonts: the folder

    // Bytes that a record may inflate to, and that drawing may take.
    uint64_t memory() const { return render.memory ? render.memory : kCanvasMemory; }
};

void describe(CLI::App& app, Options& options);

// The pages that were chosen of so many, from 1; all, where none were. Throws std::runtime_error where there is no such
// page.
std::vector<size_t> chosen_pages(const Options& options, size_t count);
// Of a job, for dump.
WantedPages wanted_pages(const Options& options, Bytes file);

}  // namespace kvjob
