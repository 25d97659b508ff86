#pragma once
// The command line: kvprint INPUT.pdf [-o JOB.kv] [--pages 1-3] [--set NAME=VALUE ...]
// [--data NAME=VALUE ...] [--list-text FILE] [--quiet]

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace kvprint {

struct Options {
    std::string input, output;                               // no output: the job goes to the dispatcher
    std::vector<std::pair<int, int>> pages;                  // first and last, from 1; empty: all
    std::vector<std::pair<std::string, uint32_t>> settings;  // by their names in the registry
    std::vector<std::pair<std::string, std::string>> data;   // attached to the job, names and values not empty
    std::string text_list;                                   // where to list what goes as text; empty: nowhere
    bool quiet = false, help = false;

    bool wants_page(int number) const;
};

struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

Options parse_options(const std::vector<std::string>& arguments);
extern const char* const kUsage;

}  // namespace kvprint
