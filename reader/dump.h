#pragma once

#include <cstdio>
#include <optional>

#include "reader/bytes.h"

namespace kvjob {

struct DumpOptions {
    bool json = false;
    std::optional<uint32_t> page;  // from 1; only that page's records
};

// Lists the records with their bodies. Throws Fault where the framing ends; a faulty body is shown as such.
void dump_job(Bytes file, const DumpOptions& options, std::FILE* out);

}  // namespace kvjob
