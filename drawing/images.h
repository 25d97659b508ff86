#pragma once

#include <cstddef>
#include <string>

#include "reader/bytes.h"
#include "reader/reports.h"

namespace kvjob {

// Writes every bitmap of a job into a folder that exists, as page0001-0000012A-image.png: the number of the page and
// the record's file offset in hexadecimal; -mask for the mask of a masked image, -pattern for a brush. JPEG streams
// are besides stored as they are. Damaged bitmaps are reported and left out. Returns the number of images. Throws Fault
// where the framing ends, and std::runtime_error for a file that cannot be written.
size_t extract_images(Bytes file, const std::string& folder, Reports& reports);

}  // namespace kvjob
