// The guard of the recording hooks.

#include "driver/pdevice.h"
#include "platform/guarded_call.h"

namespace kv {

PDEVICE* PDEVICE::FromSurface(const SURFOBJ* surface, Outside outside, Failed after_failure) {
    set_round_to_nearest();
    if (!surface || surface->iType != STYPE_DEVICE || !surface->dhpdev) return nullptr;
    auto* device = reinterpret_cast<PDEVICE*>(surface->dhpdev);
    if (device->signature != kDeviceSignature) return nullptr;
    if (after_failure == Failed::Refuse && device->failed) return nullptr;
    if (outside == Outside::Refuse && device->page_start == 0) return nullptr;
    return device;
}

}  // namespace kv
