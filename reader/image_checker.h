#pragma once
// Validates the pixels of a record against the rules by which the driver chooses and writes encodings.

#include <optional>

#include "reader/bodies.h"
#include "reader/records.h"

namespace kvjob {

// Decodes every pixel. Returns the length with which the record counts for the summary's largest record; nothing
// where the job does not tell. Throws BodyFault.
std::optional<uint32_t> check_pixels(const Record& record, const Image& image);

// A pattern brush's bitmap.
void check_pattern(Bytes packed);

}  // namespace kvjob
