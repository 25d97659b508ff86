#pragma once
// The command line: kvprint INPUT.pdf [-o JOB.kv] [--pages 1-3] [--set NAME=VALUE ...]
// [--data NAME=VALUE ...] [--list-text FILE] [--quiet]

#include <stdexcept>
#include <string>
#include <vector>

#include "printhost/request.h"

namespace kvprint {

struct Options : Request {
    bool help = false;
};

struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

Options parse_options(const std::vector<std::string>& arguments);
extern const char* const kUsage;

}  // namespace kvprint
