#pragma once
// The graphics engine's side of a system: the driver as a module that it loads, and the failures that tests inject
// into its services.

#include <span>

#include "platform/ddi.h"

namespace kv {

// A service of the engine that the driver calls, by the name under which it is imported.
struct EngineService {
    const char* name;
    void* address;
};

// On the host the driver is linked into the program. On Windows it is kvgraph12.dll in the program's folder, whose
// imports of the services are redirected to those given.
class DriverModule {
public:
    // Throws std::runtime_error when the driver refuses to load.
    explicit DriverModule(std::span<const EngineService> services);
    ~DriverModule();
    DriverModule(const DriverModule&) = delete;
    DriverModule& operator=(const DriverModule&) = delete;

    BOOL enable(ULONG engine_version, ULONG size, DRVENABLEDATA* data) const;

private:
    HMODULE module_;
};

// Whether this call of a service is the one that a test wants to fail.
bool engine_call_fails(const char* service);

}  // namespace kv
