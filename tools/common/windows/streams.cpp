#include "tools/common/streams.h"

namespace kv::cli {

// Files get no streams' numbers here: handles are not numbered from 0, and a stream without one refuses by itself.
void hold_standard_streams() {}

}  // namespace kv::cli
