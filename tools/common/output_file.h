#pragma once
// Files that programs write: they are whole under their names or not there at all.

#include <cstdint>
#include <cstdio>
#include <span>
#include <string>

namespace kvtools {

// A plain file is written beside the one that it replaces, whose mode and owner it takes, and renamed when it is
// finished; links are followed. Anything else (a FIFO, a device, "-" and other names of open descriptors) is written
// into as it comes. Everything throws std::runtime_error with the name and the system's reason.
class OutputFile {
public:
    // None of the inputs, which are names of files or "-", may be the same file.
    explicit OutputFile(const std::string& name, std::span<const std::string> inputs = {});
    // Without finish, a plain file is as it was.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void write(std::span<const uint8_t> bytes);
    void finish();

private:
    [[noreturn]] void fail(int error);
    void open(const std::string& name);
    void open_beside(const std::string& target);
    void take(int descriptor);
    void discard();

    std::string name_;             // for people
    std::string target_, beside_;  // of a plain file
    std::FILE* file_ = nullptr;
};

// To be called first in main. Closed standard streams are opened so that no file takes their place and what is written
// to them fails; a closed pipe is an error of the write; an interruption removes what stands beside unfinished.
// So does an input that is cut short while it is mapped, which ends the program with a line and exit code 1.
void prepare_output();

}  // namespace kvtools
