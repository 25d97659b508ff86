#pragma once
// Where what is made from a job goes; whoever asks for it says.

#include <functional>
#include <memory>
#include <string>

#include "reader/bytes.h"

namespace kvjob {

// What is not finished was given up: nothing of it should be left. Everything may throw, which ends the work.
class Output {
public:
    virtual ~Output() = default;
    virtual void write(Bytes bytes) = 0;
    virtual void finish() = 0;
};
// name: that of a file, without a folder where the caller gave none.
using OpenOutput = std::function<std::unique_ptr<Output>(const std::string& name)>;

}  // namespace kvjob
