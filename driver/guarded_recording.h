#pragma once
// How the hooks run what they record: nothing that it raises reaches the engine.

#include "driver/pdevice.h"
#include "platform/guarded_call.h"

namespace kv {

// The answer of the work. An exception fails the document: FALSE, last error 31.
template <class Work>
BOOL run_hook(PDEVICE& device, Work&& work) {
    BOOL answer = FALSE;
    if (guarded_call([&] { answer = work(); })) return answer;
    SetLastError(ERROR_GEN_FAILURE);
    device.SetFailed();
    return FALSE;
}

// The same for work whose failure fails the document.
template <class Work>
BOOL run_recording(PDEVICE& device, Work&& work) {
    const BOOL recorded = run_hook(device, work);
    if (!recorded) device.SetFailed();
    return recorded;
}

}  // namespace kv
