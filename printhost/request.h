#pragma once
// What is to be printed, and how.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace kvprint {

struct Request {
    std::string input, output;                               // no output: the job goes to the dispatcher
    std::vector<std::pair<int, int>> pages;                  // first and last, from 1; empty: all
    std::vector<std::pair<std::string, uint32_t>> settings;  // by their names in the registry
    std::vector<std::pair<std::string, std::string>> data;   // attached to the job, names and values not empty
    std::string text_list;                                   // where to list what goes as text; empty: nowhere
    bool quiet = false;                                      // no progress on a terminal, no closing line

    bool wants_page(int number) const;
};

}  // namespace kvprint
