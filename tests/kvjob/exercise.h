#pragma once

#include "tools/kvjob/bytes.h"

namespace kvjob::test {

// Runs every command on a job, sound or not. Only the documented faults come out of them.
void exercise(Bytes job);

}  // namespace kvjob::test
