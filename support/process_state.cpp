#include "support/process_state.h"

#include "support/assert.h"

namespace kv {

DWORD IdCounter::next() {
    const Holding held(lock_);
    last_ = last_ >= kLargest ? 1 : last_ + 1;
    KV_ASSERT(last_ >= 1 && last_ <= kLargest);
    return last_;
}

ProcessState& process_state() {
    // Built when the DLL loads (the first use is by static initialisation), so that no hook meets its start.
    static ProcessState state;
    return state;
}

namespace {
[[maybe_unused]] const ProcessState& built_at_load = process_state();
}

}  // namespace kv
