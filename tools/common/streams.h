#pragma once

namespace kv::cli {

// A program that is started with a standard stream closed would give the stream's number to the first file it opens,
// and write its messages into that. Stands in for each that is missing with one that refuses to be used.
void hold_standard_streams();

}  // namespace kv::cli
