#pragma once
// The command line: fidelity [-r DPI] [--finer N] [--pages LIST] [--sheet SHEET.png] [--page-pictures PREFIX]
//                            SOURCE.pdf JOB-%d.png

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "tools/common/command_line.h"

namespace fidelity {

struct Options {
    double dots_per_inch = 100;
    int finer = 1;
    // The pages to compare of a document of so many, from 1; not set: all.
    std::function<std::vector<size_t>(size_t count)> pages;
    std::string sheet, page_pictures, source, job;
};

void describe(CLI::App& app, Options& options);

}  // namespace fidelity
