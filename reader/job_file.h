#pragma once
// A job file mapped into memory.

#include <string>

#include "reader/bytes.h"

namespace kvjob {

class JobFile {
public:
    // Throws std::runtime_error when the file cannot be read.
    explicit JobFile(const std::string& path);
    ~JobFile();
    JobFile(const JobFile&) = delete;
    JobFile& operator=(const JobFile&) = delete;

    Bytes bytes() const { return bytes_; }

private:
    Bytes bytes_;
};

}  // namespace kvjob
