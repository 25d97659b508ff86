#pragma once

#include <cstddef>
#include <string>

#include "tools/kvjob/bytes.h"

namespace kvjob {

struct Extracted {
    size_t images = 0, damaged = 0;
};

// Writes every bitmap of a job into a folder that exists, as page0001-0000012A-image.png: the number of the page and
// the record's file offset in hexadecimal; -mask for the mask of a masked image, -pattern for a brush. JPEG streams
// are besides stored as they are. Damaged bitmaps are reported to standard error and left out. Throws Fault where the
// framing ends, and std::runtime_error for a file that cannot be written.
Extracted extract_images(Bytes file, const std::string& folder);

}  // namespace kvjob
