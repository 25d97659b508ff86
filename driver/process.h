#pragma once
// What the DLL sets up when a process loads it, and takes down when the process lets it go.

#include "platform/win32.h"

namespace kv {

// FALSE when no texts can be found, in the resource library or in the driver itself: the DLL does not load then.
BOOL attach_process(HINSTANCE module);
void detach_process();

}  // namespace kv
