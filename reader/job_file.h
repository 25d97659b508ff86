#pragma once
// A job's bytes in memory. Files of up to 64 MiB are read, larger ones mapped: who cuts such a file short while it is
// open has the system raise SIGBUS at the next look at what is gone, unless a copy was asked for.

#include <string>
#include <vector>

#include "reader/bytes.h"

namespace kvjob {

class JobFile {
public:
    enum class Large { Mapped, Copied };
    // A file, or "-" for standard input. What is no plain file (a pipe, a FIFO) is copied to a temporary one first, if
    // it begins as a job does; so are large files where `large` says it. Throws std::runtime_error when it cannot be
    // read, Fault where what is copied does not begin as a job does.
    explicit JobFile(const std::string& path, Large large = Large::Mapped);
    ~JobFile();
    JobFile(const JobFile&) = delete;
    JobFile& operator=(const JobFile&) = delete;

    Bytes bytes() const { return bytes_; }

private:
    std::vector<uint8_t> read_;
    Bytes bytes_;
};

}  // namespace kvjob
