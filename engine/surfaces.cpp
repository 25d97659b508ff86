#include "engine/surfaces.h"

#include <map>
#include <memory>
#include <set>

#include "platform/driver_module.h"

namespace kv::engine {
namespace {

struct Surface : SURFOBJ {
    FLONG hooks = 0;
};
std::map<HSURF, std::unique_ptr<Surface>> surfaces;
std::set<HPALETTE> palettes;

template <class Handle>
Handle new_handle() {
    static uintptr_t last = 0x1000;
    return reinterpret_cast<Handle>(last += 4);
}

}  // namespace

SURFOBJ* surface_of(HSURF handle) {
    auto found = surfaces.find(handle);
    return found == surfaces.end() ? nullptr : found->second.get();
}
FLONG hooks_of(const SURFOBJ* surface) { return static_cast<const Surface*>(surface)->hooks; }
size_t live_surfaces() { return surfaces.size(); }
size_t live_palettes() { return palettes.size(); }

}  // namespace kv::engine

using namespace kv::engine;
using kv::engine_call_fails;

HSURF APIENTRY EngCreateDeviceSurface(DHSURF driver_surface, SIZEL size, ULONG format) {
    if (engine_call_fails("EngCreateDeviceSurface")) return nullptr;
    auto surface = std::make_unique<Surface>();
    surface->dhsurf = driver_surface;
    surface->hsurf = new_handle<HSURF>();
    surface->sizlBitmap = size;
    surface->iBitmapFormat = format;
    surface->iType = STYPE_DEVICE;
    const HSURF handle = surface->hsurf;
    surfaces[handle] = std::move(surface);
    return handle;
}

BOOL APIENTRY EngAssociateSurface(HSURF handle, HDEV device, FLONG hooks) {
    auto* surface = static_cast<Surface*>(surface_of(handle));
    if (!surface || engine_call_fails("EngAssociateSurface")) return FALSE;
    surface->hdev = device;
    surface->hooks = hooks;
    return TRUE;
}

BOOL APIENTRY EngMarkBandingSurface(HSURF surface) { return surface_of(surface) != nullptr; }

BOOL APIENTRY EngDeleteSurface(HSURF surface) { return surfaces.erase(surface) > 0; }

HPALETTE APIENTRY EngCreatePalette(ULONG, ULONG, ULONG*, FLONG, FLONG, FLONG) {
    if (engine_call_fails("EngCreatePalette")) return nullptr;
    return *palettes.insert(new_handle<HPALETTE>()).first;
}

BOOL APIENTRY EngDeletePalette(HPALETTE palette) { return palettes.erase(palette) > 0; }
