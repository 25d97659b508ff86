#pragma once
// The report's pictures: PNG as base64, in objects of width, height and data.

#include "drawing/images.h"
#include "drawing/page_rows.h"
#include "reader/json.h"
#include "reader/text_bodies.h"

namespace kvjob {

// A page at these dots per inch, or fewer where it has more than kPagePixels then. "scale" is pixels of the picture for
// a device pixel. Throws std::runtime_error for a page that cannot be drawn.
inline constexpr double kPagePixels = 6e6;
struct PictureSize {
    int resolution;   // of the job, dots per inch
    double dots;      // per inch, of the picture
    uint64_t memory;  // bytes for drawing it
};
Json page_picture(JobPainter& painter, size_t page, const IndexedPage& index, PictureSize size);

// A bitmap, brought to 200 pixels in either direction where it is larger; what is transparent is white. Throws
// BodyFault.
Json thumbnail(const FoundImage& found);

// A run of text, black at 28 pixels for the em and cut to what fits. Null where nothing can be drawn.
Json sample_line(TextPainter& painter, const TextRun& run, const FontDefinition& font, Face* face);

}  // namespace kvjob
