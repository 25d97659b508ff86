#pragma once
// The surfaces and palettes that drivers make.

#include "platform/ddi.h"

namespace kv::engine {

// Null for a handle that is none.
SURFOBJ* surface_of(HSURF handle);
FLONG hooks_of(const SURFOBJ* surface);
size_t live_surfaces();
size_t live_palettes();

}  // namespace kv::engine
