#pragma once

#include <vector>

#include "reader/bytes.h"

namespace kvjob {

// Whether so many bytes can come of data of this size at all.
bool can_inflate_to(Bytes data, uint64_t length);
// Inflates raw deflate data that must give exactly `length` bytes and end with its input. Memory is bounded by what
// the input can hold. Throws BodyFault.
void inflate_raw(Bytes data, uint32_t length, std::vector<uint8_t>& out);
// Raw deflate data.
std::vector<uint8_t> deflate_raw(Bytes bytes);
// At most the first `length` bytes of what the data hold.
std::vector<uint8_t> inflate_start(Bytes data, size_t length);

}  // namespace kvjob
