#pragma once

#include <cstdio>
#include <functional>
#include <optional>

#include "reader/records.h"

namespace kvjob {

// Calls visit for the records of a job, or those of one page (from 1) with its start and its end. Throws Fault where
// the framing ends.
void for_each_record(Bytes file, std::optional<uint32_t> page, const std::function<void(const Record&)>& visit);

// Lists the records with their bodies, a line each. Throws Fault where the framing ends; a faulty body, and one that
// inflates to more than the memory, is shown as such.
void dump_job(Bytes file, std::optional<uint32_t> page, std::FILE* out, uint64_t memory = kRecordMemory);

}  // namespace kvjob
