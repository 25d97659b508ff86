#pragma once
// Where a job goes: a file that gets its name when it is whole, or standard output, a FIFO or a device as it stands.

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include "printhost/request.h"

namespace kvprint {

// What could not be written, in one line that names it.
struct OutputFault : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Whether it is standard output, by a name that the system has for it or kStandardStream.
bool is_standard_output(const std::string& path);

// Throws OutputFault when a path, by whatever name, is the input's file.
void check_is_not(const std::string& output, const struct stat& input);

class Output {
public:
    // path: followed where it is a link; kStandardStream for standard output. Throws OutputFault, with nothing touched,
    // where it cannot be written.
    explicit Output(const std::string& path);
    // Removes what has not been finished.
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    int descriptor() const { return descriptor_; }
    // error: why a write failed, or empty. size: what was written to the descriptor. A file is checked to be a whole
    // job of that size; then it takes the place and the mode of a file of its name, or the mode that the user
    // gives new files. Throws OutputFault; there is no new file then.
    void finish(const std::string& error, uint64_t size);

private:
    void open_file();
    void check_job(uint64_t size) const;
    void take_mode() const;
    void flush() const;
    void give_name();
    [[noreturn]] void fail(const std::string& error) const;
    [[noreturn]] void fail(int error) const;

    std::string name_, path_, partial_;  // as given, without links, while it is written
    std::optional<struct stat> replaced_;
    int descriptor_ = -1;
    bool is_file_ = false, has_name_ = false;  // whether there is a file under partial_
};

}  // namespace kvprint
