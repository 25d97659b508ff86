#pragma once
// What is to be printed, and how.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace kvprint {

// Standard input or output in place of a file.
inline constexpr const char* kStandardStream = "-";

struct Request {
    std::string input, output;  // no output: the job goes to the dispatcher
    // The pages to print of a document of so many, from 1 and in their order; not set: all.
    std::function<std::vector<size_t>(size_t count)> pages;
    std::vector<std::pair<std::string, uint32_t>> settings;  // by their names in the registry
    std::vector<std::pair<std::string, std::string>> data;   // attached to the job, names and values not empty
    std::string text_list;                                   // where to list what goes as text; empty: nowhere
    std::string password;                                    // empty: none
    std::string box;                                         // media, crop, bleed, trim or art; empty: crop
    std::string trace;                                       // what the driver tells of its work; empty: nothing
    size_t memory = size_t{512} << 20;                       // bytes that reading and rendering may take at a time
    bool annotations = true;                                 // those that are to be printed
    bool strict = false;                                     // what cannot be printed whole is not printed
    bool quiet = false;                                      // no progress, no closing line
    enum class Progress { Auto, Plain, None };               // Auto: on a terminal alone
    Progress progress = Progress::Auto;
};

}  // namespace kvprint
