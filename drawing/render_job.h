#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "reader/output.h"
#include "reader/reports.h"

namespace kvjob {

struct RenderOptions {
    double dots_per_inch = 0;  // 0: 150 for pixels; 300 for what must be pixels in a PDF file
    // The pages to draw of a job of so many, from 1 and in their order; not set: all.
    std::function<std::vector<size_t>(size_t count)> pages;
    std::string output;     // NAME.pdf, or NAME-%d.png with the page's number
    uint64_t memory = 0;    // bytes that a page's canvas may take; 0: kCanvasMemory
    OpenOutput open;        // what opens these names
    bool progress = false;  // says on standard error which page is under way
};

// Draws pages into files. Content that cannot be drawn is reported and left out. Throws Fault for no whole job, and
// std::runtime_error for pages that it does not have, and what the outputs throw.
void render_job(Bytes file, const RenderOptions& options, Reports& reports);

}  // namespace kvjob
