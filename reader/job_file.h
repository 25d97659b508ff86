#pragma once
// A job's bytes in memory. Files of up to 64 MiB are read, larger ones mapped: who cuts such a file short while it is
// open has the system raise SIGBUS at the next look at what is gone.

#include <string>
#include <vector>

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
    std::vector<uint8_t> read_;
    Bytes bytes_;
};

}  // namespace kvjob
