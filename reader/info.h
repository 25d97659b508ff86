#pragma once

#include <cstdio>

#include "reader/bytes.h"

namespace kvjob {

// What a job holds, for people. Throws Fault for a file that is no whole job.
void print_info(Bytes file, std::FILE* out);

}  // namespace kvjob
