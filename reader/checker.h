#pragma once
// Validates every byte of a job file.

#include <string>
#include <vector>

#include "reader/records.h"

namespace kvjob {

inline constexpr size_t kMostFindings = 100;
struct Finding {
    uint64_t offset;
    std::string message;
};

// Everything found wrong, in file order, `limit` findings at most; memory: bytes that a record's body may inflate to.
// An empty list is a sound job.
std::vector<Finding> check_job(Bytes file, size_t limit = kMostFindings, uint64_t memory = kRecordMemory);

}  // namespace kvjob
