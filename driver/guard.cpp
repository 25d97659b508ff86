// The guard of the recording hooks.

#include "driver/pdevice.h"
#include "platform/guarded_call.h"
#include "support/assert.h"
#include "support/trace.h"

namespace kv {

PDEVICE* PDEVICE::FromSurface(const SURFOBJ* surface, Outside outside, Failed after_failure, const char* hook) {
    set_round_to_nearest();
    auto refuse = [&](const char* why) -> PDEVICE* {
        if (tracing(TraceComponent::Driver, TraceLevel::Error)) {
            trace_failure(TraceComponent::Driver, hook, "%s", why);
        }
        return nullptr;
    };
    if (!surface || surface->iType != STYPE_DEVICE || !surface->dhpdev) return refuse("no device's surface");
    auto* device = reinterpret_cast<PDEVICE*>(surface->dhpdev);
    if (device->signature != kDeviceSignature) return refuse("no device of this driver");
    if (after_failure == Failed::Refuse && device->failed) return refuse("the document has failed");
    if (outside == Outside::Refuse && device->page_start == 0) return refuse("no page is open");
    KV_ASSERT(device->page_start == 0 || device->document_open);
    return device;
}

}  // namespace kv
