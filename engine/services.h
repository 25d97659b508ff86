#pragma once

#include <span>

#include "platform/driver_module.h"

namespace kv::engine {

// Everything that a driver may call.
std::span<const EngineService> services();

}  // namespace kv::engine
