#pragma once
// Whether a file is a job from its first byte to its last: what a driver that was ended leaves is not.

namespace kvprint {

// By the magic, the position record at the end and the summary that it leads to. descriptor: readable.
bool is_whole_job(int descriptor);

}  // namespace kvprint
