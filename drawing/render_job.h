#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "reader/output.h"
#include "reader/reports.h"

namespace kvjob {

// Bytes that the canvases of pages may take, with the layers that drawing needs beside them.
inline constexpr uint64_t kCanvasMemory = 256 << 20;

struct RenderOptions {
    enum class Format { Png, Svg, Pdf };
    Format format = Format::Png;
    double dots_per_inch = 0;  // 0: 150 for pixels; 300 for what must be pixels in PDF and SVG files
    // The pages to draw of a job of so many, from 1 and in their order; not set: all.
    std::function<std::vector<size_t>(size_t count)> pages;
    std::string output;  // the PDF file; of the others NAME-%d.png, with the page's number
    // Bytes that canvases may take, and each of these: an inflated record, a path, the pictures and the patterns of a
    // page. 0: kCanvasMemory.
    uint64_t memory = 0;
    size_t threads = 1;              // for pictures; 0: as many as there are processors
    std::string title;               // of a PDF file; empty: the document's
    std::optional<int64_t> created;  // when the job was made, seconds since 1970
    OpenOutput open;                 // what opens these names
    bool progress = false;           // says on standard error which page is under way
};

// Draws pages into files. Content that cannot be drawn is reported and left out. Throws Fault for no whole job, and
// std::runtime_error for pages that it does not have, and what the outputs throw: then the work ends, and files that
// are not finished yet are given up.
void render_job(Bytes file, const RenderOptions& options, Reports& reports);

}  // namespace kvjob
