// The driver's DLL in a program that plays the graphics engine. Its imports are named, so that each service can be
// found in the import tables after loading and replaced by the program's own.

#include "platform/driver_module.h"

#include <cstring>
#include <stdexcept>
#include <string>

namespace kv {
namespace {

constexpr const WCHAR* kDriver = TEXT("kvgraph12.dll");

template <class T>
T* at(HMODULE module, DWORD offset) {
    return reinterpret_cast<T*>(reinterpret_cast<BYTE*>(module) + offset);
}

const IMAGE_IMPORT_DESCRIPTOR* imports_of(HMODULE module) {
    const auto* headers = at<IMAGE_NT_HEADERS>(module, static_cast<DWORD>(at<IMAGE_DOS_HEADER>(module, 0)->e_lfanew));
    return at<IMAGE_IMPORT_DESCRIPTOR>(
        module, headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress);
}

void replace(ULONG_PTR& entry, void* address) {
    DWORD protection = 0;
    if (!VirtualProtect(&entry, sizeof entry, PAGE_READWRITE, &protection)) {
        throw std::runtime_error("the driver's imports cannot be redirected");
    }
    entry = reinterpret_cast<ULONG_PTR>(address);
    VirtualProtect(&entry, sizeof entry, protection, &protection);
}

void* find(std::span<const EngineService> services, const char* name) {
    for (const EngineService& service : services) {
        if (std::strcmp(service.name, name) == 0) return service.address;
    }
    return nullptr;
}

// Redirects what gdi32 would have to supply. A service of the engine that is not among those given must not stay.
void redirect(HMODULE module, std::span<const EngineService> services) {
    for (const auto* library = imports_of(module); library->Name != 0; ++library) {
        const auto* names = at<IMAGE_THUNK_DATA>(module, library->OriginalFirstThunk);
        auto* entries = at<IMAGE_THUNK_DATA>(module, library->FirstThunk);
        for (; names->u1.AddressOfData != 0; ++names, ++entries) {
            if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal)) continue;
            const char* name = at<IMAGE_IMPORT_BY_NAME>(module, static_cast<DWORD>(names->u1.AddressOfData))->Name;
            if (void* address = find(services, name)) {
                replace(*reinterpret_cast<ULONG_PTR*>(&entries->u1.Function), address);
            } else if (std::strncmp(name, "Eng", 3) == 0 || std::strstr(name, "OBJ_")) {
                throw std::runtime_error(std::string("the engine has no ") + name);
            }
        }
    }
}

}  // namespace

DriverModule::DriverModule(std::span<const EngineService> services) : module_(LoadLibraryW(kDriver)) {
    if (!module_) throw std::runtime_error("kvgraph12.dll does not load");
    redirect(module_, services);
}

DriverModule::~DriverModule() { FreeLibrary(module_); }

BOOL DriverModule::enable(ULONG engine_version, ULONG size, DRVENABLEDATA* data) const {
    using EnableDriver = BOOL(APIENTRY*)(ULONG, ULONG, DRVENABLEDATA*);
    auto enable = reinterpret_cast<EnableDriver>(reinterpret_cast<void*>(GetProcAddress(module_, "DrvEnableDriver")));
    return enable && enable(engine_version, size, data);
}

bool engine_call_fails(const char*) { return false; }

}  // namespace kv
