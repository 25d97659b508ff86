#pragma once
// Makes a sound job of what is left of a damaged one.

#include "reader/output.h"
#include "reader/records.h"

namespace kvjob {

// Bytes of the damaged job that are not in the new one.
struct Loss {
    uint64_t offset, bytes;
    std::string what;
};
struct Recovery {
    size_t pages = 0;
    std::vector<Loss> losses;  // in file order; none: everything is there

    bool whole() const { return losses.empty(); }
};

// Writes all whole pages and all whole records of the pages that were cut, with a new index and trailer. Behind damage
// it goes on at the next plausible record. Where no index tells them, the resolution is taken for 600 dots per inch and
// pages for A4, or as much as is drawn. memory: bytes that a record's body may inflate to. Throws Fault for a file that
// is no job, and what the output throws.
Recovery recover_job(Bytes file, Output& out, uint64_t memory = kRecordMemory);

}  // namespace kvjob
