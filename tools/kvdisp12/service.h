#pragma once
// The dispatcher at work: its parts put together, from its start to its end.

#include "dispatcher/text.h"
#include "tools/kvdisp12/options.h"

namespace kvdisp12 {

int serve(const Options& options);

// One look at all that waits and lies about; refused where a dispatcher has the state.
int look_once(const Options& options);

// The session to serve, and its pipe.
Text pipe_name(const Options& options);
DWORD session_of(const Options& options);

// Folders of the options, with the defaults and %u in their places.
std::string state_folder(const Options& options);
std::string outbox_folder(const Options& options);

}  // namespace kvdisp12
