#pragma once
// How the hooks run what they record: nothing that it raises reaches the engine.

#include "driver/pdevice.h"
#include "platform/guarded_call.h"

namespace kv {

// The answer of the work. An exception fails the document: FALSE, last error 31.
template <class Work>
BOOL run_hook(PDEVICE& device, Work&& work) {
    BOOL answer = FALSE;
    device.check_invariants();
    const bool returned = guarded_call([&] { answer = work(); });
    if (!returned) {
        SetLastError(ERROR_GEN_FAILURE);
        device.SetFailed();
    }
    device.check_invariants();
    return returned && answer;
}

// The same for work whose failure fails the document.
template <class Work>
BOOL run_recording(PDEVICE& device, Work&& work) {
    const BOOL recorded = run_hook(device, work);
    if (!recorded) device.SetFailed();
    return recorded;
}

}  // namespace kv
