#pragma once
// The command line: what the driver passes ("/name=value"), and what a user may add ("--name value").

#include <stdexcept>
#include <string>
#include <vector>

#include "platform/win32.h"

namespace kvdisp12 {

struct Options {
    std::string source, housekeeping;
    bool has_session = false;
    DWORD session = 0;
    long job = 0;
    bool autoexit = false, runonce = false, help = false;
    std::string outbox, log;  // empty: the defaults
    double idle = 10;         // seconds without a client, after which "/autoexit=1" ends
};

struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Names are compared without regard to case. Options of the driver that are not known are passed over, for a newer
// driver may know more.
Options parse_options(const std::vector<std::string>& arguments);
extern const char* const kUsage;

}  // namespace kvdisp12
