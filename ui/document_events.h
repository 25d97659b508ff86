#pragma once
// What the graphics system tells of a document before the driver hears of it.

#include "platform/win32.h"

namespace kv {

// Starts the dispatcher of the user's session, where none answers: it has come up when the driver announces the
// document. The driver tries again, and tells the user, where it does not come up; here a failure is nobody's.
void start_dispatcher_early();

}  // namespace kv
