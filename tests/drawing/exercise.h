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

// Run the commands on a job, sound or not: those that read it, those that make a job of it, those that draw it, or all.
// Only the documented faults come out of them, and the jobs that are made are sound.
void exercise_reading(Bytes job);
void exercise_saving(Bytes job);
void exercise_drawing(Bytes job);
void exercise(Bytes job);

}  // namespace kvjob::test
