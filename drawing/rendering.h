#pragma once
// What the ways of rendering a job have in common.

#include <thread>

#include "drawing/page_rows.h"
#include "drawing/render_job.h"

namespace kvjob {

struct Rendering {
    const RenderOptions& options;
    Reports& reports;
    const JobMap& map;
    const Summary& summary;
    std::vector<size_t> pages;  // from 0

    uint64_t memory() const { return options.memory ? options.memory : kCanvasMemory; }
    double dots(double by_default) const { return options.dots_per_inch > 0 ? options.dots_per_inch : by_default; }
    // The output's name with a page's number in the place of %d.
    std::string name_of(size_t page) const;
    void tell_progress(size_t page) const;  // the first is 1
};

void write_pngs(const Rendering& rendering);
void write_svgs(const Rendering& rendering);
void write_pdf(const Rendering& rendering);

}  // namespace kvjob
