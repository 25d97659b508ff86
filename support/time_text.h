#pragma once
// Times for people to read.

#include "support/text.h"

namespace kv {

using TimeText = TextBuffer<48>;

// "Mon Jan 5, 2026 3:04:05pm".
TimeText time_text(const SYSTEMTIME& time);
TimeText current_time_text();  // local

}  // namespace kv
