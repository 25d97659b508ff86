#pragma once

#include <string>

#include "platform/win32.h"

namespace kv::engine {

using WideString = std::basic_string<WCHAR>;

}  // namespace kv::engine
