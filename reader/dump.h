#pragma once

#include <cstdio>
#include <functional>
#include <optional>
#include <set>

#include "reader/records.h"

namespace kvjob {

// Pages, from 1, of which records are wanted with their starts and ends; nothing: all that a job holds.
using WantedPages = std::optional<std::set<size_t>>;
// Calls visit for the records in their order. Throws Fault where the framing ends.
void for_each_record(Bytes file, const WantedPages& pages, const std::function<void(const Record&)>& visit);

// Lists the records with their bodies, a line each. Throws Fault where the framing ends; a faulty body, and one that
// inflates to more than the memory, is shown as such.
void dump_job(Bytes file, const WantedPages& pages, std::FILE* out, uint64_t memory = kRecordMemory);

}  // namespace kvjob
