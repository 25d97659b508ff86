#pragma once

#include <cstdio>
#include <map>
#include <memory>

#include "reader/output.h"

namespace kvjob::test {

// A stream for what nobody reads.
struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
std::unique_ptr<std::FILE, CloseFile> nowhere();

// Files that stay in memory.
struct Kept {
    std::map<std::string, std::vector<uint8_t>> files;
    OpenOutput open();
};

// Runs every command on a job, sound or not. Only the documented faults come out of them.
void exercise(Bytes job);

}  // namespace kvjob::test
