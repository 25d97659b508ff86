#include "tools/common/version.h"

#include "generated/version.h"

namespace kv::cli {

std::string version() { return KV_VERSION " (build " KV_BUILD ")"; }

}  // namespace kv::cli
