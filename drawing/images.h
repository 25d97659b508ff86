#pragma once

#include <cstddef>
#include <string>

#include "reader/output.h"
#include "reader/picture.h"
#include "reader/reports.h"

namespace kvjob {

enum class ImageKind { Image, Mask, Pattern };
const char* name_of(ImageKind kind);

// A bitmap of a job; a masked image is two of them.
struct FoundImage {
    uint32_t page;  // from 1
    const Record& record;
    ImageKind kind;
    const Picture& picture;
    const Image* image;  // what its record says; null for a pattern
};
// All bitmaps in the job's order. Damaged ones, and those of records that inflate to more than the memory, are reported
// and left out. Throws Fault where the framing ends, and what visit throws.
void for_each_image(Bytes file, uint64_t memory, const std::function<void(const FoundImage&)>& visit, Reports& reports);

// Writes a bitmap as page0001-0000012A-image.png: the number of the page and the record's file offset in hexadecimal;
// -mask for the mask of a masked image, -pattern for a brush. A JPEG stream is besides stored as it is. Returns the
// names. Throws BodyFault for a damaged one, and what the outputs throw.
std::vector<std::string> extract_image(const FoundImage& found, const OpenOutput& open);

}  // namespace kvjob
