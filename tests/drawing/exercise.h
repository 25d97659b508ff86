#pragma once

#include <cstdio>
#include <map>
#include <memory>

#include "reader/output.h"
#include "reader/records.h"

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

// A job that is damaged as a whole is told so, and pages of any size may be too large to draw.
template <class Command>
void expect_answer(Command command) {
    try {
        command();
    } catch (const Fault&) {
    } catch (const std::runtime_error&) {
    }
}

// Run the commands on a job, sound or not: those that read it, those that make a job of it, those that draw it, or all.
// Only the documented faults come out of them, and the jobs that are made are sound.
void exercise_reading(Bytes job);
void exercise_saving(Bytes job);
void exercise_drawing(Bytes job);
void exercise(Bytes job);

}  // namespace kvjob::test
