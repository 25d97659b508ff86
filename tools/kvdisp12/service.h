#pragma once
// The dispatcher at work: its parts put together, from its start to its end.

#include "tools/kvdisp12/options.h"

namespace kvdisp12 {

int serve(const Options& options);

// The session to serve.
DWORD session_of(const Options& options);

// Folders of the options, with the defaults and %u in their places.
std::string state_folder(const Options& options);
std::string outbox_folder(const Options& options);

}  // namespace kvdisp12
