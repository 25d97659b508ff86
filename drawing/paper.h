#pragma once
// How large a page is on paper.

#include "reader/index.h"

namespace kvjob {

struct PaperSize {
    double width, height;  // points
};

// The named paper's own size where the page's pixels are that size rounded; else what the pixels make.
PaperSize paper_size(const IndexedPage& page, int resolution);

}  // namespace kvjob
