#pragma once
// Validates the document summary against what the records held.

#include <functional>

#include "reader/content_checker.h"

namespace kvjob {

struct Expected {
    const Found& found;
    uint64_t trailer;         // position of the summary
    uint32_t largest_record;  // of those that count
    bool exact_largest;       // no record raised the statistic in a way of its own
};

// Calls report for every difference.
void check_summary(const Summary& summary, const Expected& expected,
                   const std::function<void(const std::string&)>& report);

}  // namespace kvjob
