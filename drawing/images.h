#pragma once

#include <cstddef>
#include <string>

#include "reader/output.h"
#include "reader/reports.h"

namespace kvjob {

// Writes every bitmap of a job, as page0001-0000012A-image.png: the number of the page and
// the record's file offset in hexadecimal; -mask for the mask of a masked image, -pattern for a brush. JPEG streams
// are besides stored as they are. Damaged bitmaps are reported and left out. Returns the number of images. Throws Fault
// where the framing ends, and what the outputs throw.
size_t extract_images(Bytes file, const OpenOutput& open, Reports& reports);

}  // namespace kvjob
