#pragma once
// The path that a client says its job is at, seen as text, before anything is opened.

#include "dispatcher/text.h"

namespace kvdisp12 {

// Null for a full path on a drive, at most 259 units, whose last part is such as the driver makes them ("~KV*.kv");
// else what is wrong with it. A path that passes names a file by its parts alone: no device, no stream, no way up.
const char* fault_of_job_path(TextView path);

}  // namespace kvdisp12
