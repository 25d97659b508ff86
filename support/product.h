#pragma once
// What each library of the product sets up when a process loads it: what the system and the user's locale say, the
// product's settings, the trace, and the texts.

#include "platform/win32.h"

namespace kv {

struct ProcessState;

// FALSE when no texts can be found, in the resource library or in the module itself: it does not load then.
BOOL attach_product(HINSTANCE module);
void detach_product();

// The part of it that is done once in a process.
void read_system(ProcessState& state);

// Finds the resource library, or falls back to the module's own resources.
BOOL establish_resource_module();
void release_resource_module();
// The decimal number that a text of the resource module begins with; the fallback where there is no such text.
DWORD resource_number(UINT string, DWORD fallback);

}  // namespace kv
