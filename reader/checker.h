#pragma once
// Validates every byte of a job file.

#include <string>
#include <vector>

#include "reader/bytes.h"

namespace kvjob {

struct Finding {
    uint64_t offset;
    std::string message;
};

// Everything found wrong, in file order, `limit` findings at most. An empty list is a sound job.
std::vector<Finding> check_job(Bytes file, size_t limit = 100);

}  // namespace kvjob
