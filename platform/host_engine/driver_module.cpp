#include "platform/driver_module.h"

#include <stdexcept>

#include "platform/host/control.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved);
extern "C" BOOL APIENTRY DrvEnableDriver(ULONG engine_version, ULONG size, DRVENABLEDATA* data);

namespace kv {

DriverModule::DriverModule(std::span<const EngineService>) : module_(host::driver_module()) {
    if (!DllMain(module_, DLL_PROCESS_ATTACH, nullptr)) throw std::runtime_error("the driver does not load");
}

DriverModule::~DriverModule() { DllMain(module_, DLL_PROCESS_DETACH, nullptr); }

BOOL DriverModule::enable(ULONG engine_version, ULONG size, DRVENABLEDATA* data) const {
    return DrvEnableDriver(engine_version, size, data);
}

bool engine_call_fails(const char* service) { return host::should_fail(host::CallKind::Engine, service); }

}  // namespace kv
