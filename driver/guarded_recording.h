#pragma once
// How the hooks run what they record: nothing that it raises reaches the engine.

#include "driver/pdevice.h"
#include "platform/guarded_call.h"
#include "support/trace.h"

namespace kv {

// The answer of the work. An exception fails the document: FALSE, last error 31. hook: whose failure it is.
template <class Work>
BOOL run_hook(PDEVICE& device, Work&& work, const char* hook = __builtin_FUNCTION()) {
    BOOL answer = FALSE;
    device.check_invariants();
    const bool returned = guarded_call([&] { answer = work(); });
    if (!returned) {
        SetLastError(ERROR_GEN_FAILURE);
        if (tracing(TraceComponent::Driver, TraceLevel::Error)) {
            trace_failure(TraceComponent::Driver, hook, "an exception at position %u",
                          static_cast<unsigned>(device.position));
        }
        device.SetFailed(hook);
    }
    device.check_invariants();
    return returned && answer;
}

// The same for work whose failure fails the document.
template <class Work>
BOOL run_recording(PDEVICE& device, Work&& work, const char* hook = __builtin_FUNCTION()) {
    const BOOL recorded = run_hook(device, work, hook);
    if (!recorded) device.SetFailed(hook);
    return recorded;
}

}  // namespace kv
