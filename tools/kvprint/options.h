#pragma once
// The command line: kvprint [-o JOB.kv] [--pages LIST] [--set NAME=VALUE ...] ... INPUT.pdf ...

#include <string>
#include <vector>

#include "printhost/request.h"
#include "tools/common/command_line.h"

namespace kvprint {

// input and the names of what is written: see requests_of.
struct Options : Request {
    std::vector<std::string> inputs;
    bool json = false;  // the summary as JSON on standard output
};

void describe(CLI::App& app, Options& options);

// What to print, in the inputs' order; "%s" in names of what is written is an input's name without folder and suffix.
// Throws UsageError where two would be written to one file.
std::vector<Request> requests_of(const Options& options);

}  // namespace kvprint
