#pragma once
// What the DLL sets up when a process loads it, and takes down when the process lets it go.

#include "platform/win32.h"

namespace kv {

struct ProcessState;

// FALSE when no texts can be found, in the resource library or in the driver itself: the DLL does not load then.
BOOL attach_process(HINSTANCE module);
void detach_process();

// The part of it that is done once in a process: what the system and the user's locale say.
void read_system(ProcessState& state);

// Finds the resource library, or falls back to the driver's own resources.
BOOL establish_resource_module();
void release_resource_module();

}  // namespace kv
