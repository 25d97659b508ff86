#pragma once
// A job's bytes, mapped into memory.

#include <string>

#include "reader/bytes.h"

namespace kvjob {

class JobFile {
public:
    // A file, or "-" for standard input. What is no plain file (a pipe, a FIFO) is copied to a temporary one first, if
    // it begins as a job does. Throws std::runtime_error when it cannot be read.
    explicit JobFile(const std::string& path);
    ~JobFile();
    JobFile(const JobFile&) = delete;
    JobFile& operator=(const JobFile&) = delete;

    Bytes bytes() const { return bytes_; }

private:
    Bytes bytes_;
};

}  // namespace kvjob
