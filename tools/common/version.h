#pragma once

#include <string>

namespace kv::cli {

// The product's version and the build's identifier: "12.4.0 (build 0123456789ab)".
std::string version();

}  // namespace kv::cli
