#pragma once
// The command line: what the driver passes ("/name=value"), and what a user may add ("--name value") or write into a
// file of settings.

#include <string>
#include <vector>

#include "dispatcher/delivery.h"
#include "dispatcher/housekeeping.h"
#include "dispatcher/limits.h"
#include "platform/win32.h"
#include "tools/common/command_line.h"

namespace kvdisp12 {

// Serve: what the program is for. The others are for administrators.
enum class Command { Serve, List, Show, Retry, Cancel, Recover, Status };

struct Options {
    Command command = Command::Serve;
    int64_t document = 0;  // of Show, Retry and Cancel
    bool json = false, all = false;
    std::string only_state, only_printer, only_text;  // what List is limited to; empty: not
    double since = 0;                                 // seconds; 0: for ever
    std::string source, housekeeping;
    bool has_session = false;
    DWORD session = 0;
    long job = 0;
    bool autoexit = false, runonce = false;
    std::string state, outbox, log;  // empty: the defaults
    std::vector<std::string> accept;
    Limits limits;
    Keep keep;
    Destination destination;     // where filed jobs go next
    double delivery_time = 600;  // seconds for a drawing, a program, an answer
    double idle = 10;            // seconds without a client, after which "/autoexit=1" ends
};

// The driver's names are compared without regard to case. Options of the driver that are not known are passed over, for
// a newer driver may know more.
void describe(CLI::App& app, Options& options);
// Throws UsageError where an option stands without the command that it is for.
void check_use(const Options& options);

}  // namespace kvdisp12
