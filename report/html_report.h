#pragma once
// A job as one HTML file that needs nothing beside it: pages with their text and records, fonts, images, statistics,
// what the check finds, attached data.

#include <functional>
#include <string>
#include <vector>

#include "reader/output.h"
#include "reader/recover.h"
#include "reader/reports.h"

namespace kvjob {

struct ReportedJob {
    std::string name;          // for people
    Bytes file;                // what is shown
    Bytes original;            // what is checked: the file itself, or the damaged one that it was recovered from
    std::vector<Loss> losses;  // of the recovery
};

struct ReportOptions {
    // The pages to show of a job of so many, from 1; not set: the first kMostPages. The others are named.
    std::function<std::vector<size_t>(size_t count)> pages;
    double dots_per_inch = 120;       // of the pages' pictures; large pages have fewer
    uint64_t memory = kRecordMemory;  // bytes that a record may inflate to, and that a page's picture may take
    std::string made_by;              // the program and its version
    bool progress = false;            // says on standard error which page is under way
    Reports::Take report;             // gets what is damaged and left out; the file tells it, too
};
inline constexpr size_t kMostPages = 200;

// Writes and finishes the file. Returns how many records were left out. What the job says cannot become markup or
// script. Memory holds one page at a time. Throws Fault for a job whose pages cannot be found, std::runtime_error for
// pages that it does not have, and what the output throws.
size_t write_report(const ReportedJob& job, const ReportOptions& options, Output& out);

}  // namespace kvjob
