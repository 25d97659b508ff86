#pragma once
// The command line: kvprint INPUT.pdf [-o JOB.kv] [--pages LIST] [--set NAME=VALUE ...] ...

#include "printhost/request.h"
#include "tools/common/command_line.h"

namespace kvprint {

struct Options : Request {};

void describe(CLI::App& app, Options& options);

}  // namespace kvprint
