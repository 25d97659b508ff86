#pragma once

#include "tests/kvjob/job_builder.h"

namespace kvjob::test {

// Sound jobs that hold records of every kind between them.
std::vector<Buffer> sample_jobs();

}  // namespace kvjob::test
