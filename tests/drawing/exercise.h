#pragma once

#include <cstdio>
#include <memory>

#include "reader/bytes.h"

namespace kvjob::test {

// A stream for what nobody reads.
struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
std::unique_ptr<std::FILE, CloseFile> nowhere();

// Runs every command on a job, sound or not. Only the documented faults come out of them.
void exercise(Bytes job);

}  // namespace kvjob::test
