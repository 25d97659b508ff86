#pragma once
// The log's lines in the system's journal, with their fields; and what a service tells the system's manager.

#include <memory>

#include "dispatcher/log.h"

namespace kvdisp12 {

// Null where no journal runs.
std::unique_ptr<LogSink> system_journal();

}  // namespace kvdisp12
