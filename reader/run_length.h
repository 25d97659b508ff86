#pragma once
// The run-length encodings of device-independent bitmaps, 8 and 4 bits a pixel.

#include <vector>

#include "reader/dib.h"

namespace kvjob {

// Who encoded the bitmap: the driver writes every row whole, in runs and literals, and ends it; others may leave out
// what has index 0.
enum class RunLengthOrigin { Driver, Elsewhere };

// Palette indices, one a byte, the top row first. Memory is bounded by what the data can hold. Throws BodyFault.
std::vector<uint8_t> decode_run_length(const Dib& dib, RunLengthOrigin origin);

}  // namespace kvjob
