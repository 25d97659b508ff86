#include "engine/device.h"

#include <stdexcept>
#include <vector>

#include "engine/surfaces.h"
#include "platform/host/control.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved);

namespace kv::engine {

Driver::Driver() {
    constexpr ULONG kEngineVersion = 0x30001;
    DRVENABLEDATA data = {};
    if (!DllMain(host::driver_module(), DLL_PROCESS_ATTACH, nullptr) ||
        !DrvEnableDriver(kEngineVersion, sizeof data, &data)) {
        throw std::runtime_error("the driver does not load");
    }
    for (ULONG i = 0; i < data.c; ++i) {
        if (data.pdrvfn[i].iFunc < table_.size()) table_[data.pdrvfn[i].iFunc] = data.pdrvfn[i].pfn;
    }
}

Driver::~Driver() {
    hook<decltype(DrvDisableDriver)>(INDEX_DrvDisableDriver)();
    DllMain(host::driver_module(), DLL_PROCESS_DETACH, nullptr);
}

Device::Device(Driver& driver, HANDLE printer, const DEVMODEW* mode, const std::u16string& name)
    : driver_(driver), printer_(printer), name_(name) {
    handle_ = enable(mode);
    if (handle_) enable_surface();
}

Device::~Device() {
    if (!handle_) return;
    disable_surface();
    driver_.hook<decltype(DrvDisablePDEV)>(INDEX_DrvDisablePDEV)(handle_);
}

DHPDEV Device::enable(const DEVMODEW* mode) {
    // A driver may take the device mode's private part for its own only with all its bytes there.
    std::vector<BYTE> copy;
    if (mode) {
        auto* bytes = reinterpret_cast<const BYTE*>(mode);
        copy.assign(bytes, bytes + mode->dmSize + mode->dmDriverExtra);
    }
    std::array<HSURF, 6> patterns{};
    DHPDEV handle = driver_.hook<decltype(DrvEnablePDEV)>(INDEX_DrvEnablePDEV)(
        mode ? reinterpret_cast<DEVMODEW*>(copy.data()) : nullptr, nullptr, static_cast<ULONG>(patterns.size()),
        patterns.data(), sizeof info_, reinterpret_cast<ULONG*>(&info_), sizeof devinfo_, &devinfo_,
        reinterpret_cast<HDEV>(this), name_.data(), printer_);
    if (handle) driver_.hook<decltype(DrvCompletePDEV)>(INDEX_DrvCompletePDEV)(handle, reinterpret_cast<HDEV>(this));
    return handle;
}

bool Device::enable_surface() {
    surface_handle_ = driver_.hook<decltype(DrvEnableSurface)>(INDEX_DrvEnableSurface)(handle_);
    surface_ = surface_of(surface_handle_);
    if (surface_) surface_->dhpdev = handle_;
    return surface_ != nullptr;
}

void Device::disable_surface() {
    surface_ = nullptr;
    if (surface_handle_) driver_.hook<decltype(DrvDisableSurface)>(INDEX_DrvDisableSurface)(handle_);
    surface_handle_ = nullptr;
}

BOOL Device::start_document(const std::u16string& name, DWORD job_id) {
    std::u16string text = name;
    return driver_.hook<decltype(DrvStartDoc)>(INDEX_DrvStartDoc)(surface_, text.data(), job_id);
}

BOOL Device::start_page() { return driver_.hook<decltype(DrvStartPage)>(INDEX_DrvStartPage)(surface_); }

BOOL Device::send_page() { return driver_.hook<decltype(DrvSendPage)>(INDEX_DrvSendPage)(surface_); }

BOOL Device::end_document(FLONG flags) { return driver_.hook<decltype(DrvEndDoc)>(INDEX_DrvEndDoc)(surface_, flags); }

BOOL Device::reset(const DEVMODEW& mode) {
    const DHPDEV old_handle = handle_;
    const DHPDEV new_handle = enable(&mode);
    if (!new_handle) return FALSE;
    const BOOL moved = driver_.hook<decltype(DrvResetPDEV)>(INDEX_DrvResetPDEV)(old_handle, new_handle);
    disable_surface();
    driver_.hook<decltype(DrvDisablePDEV)>(INDEX_DrvDisablePDEV)(old_handle);
    handle_ = new_handle;
    return enable_surface() && moved;
}

template <class Hook, class... Arguments>
BOOL Device::draw(FLONG flag, ULONG index, Arguments... arguments) {
    if (!surface_ || !(hooks_of(surface_) & flag)) return FALSE;
    return driver_.hook<Hook>(index)(surface_, arguments...);
}

BOOL Device::stroke(Path& path, Clip* clip, Transform* transform, Brush& brush, const LINEATTRS& line, MIX mix) {
    brush.bind(this);
    LINEATTRS attributes = line;
    POINTL origin = {};
    return draw<decltype(DrvStrokePath)>(HOOK_STROKEPATH, INDEX_DrvStrokePath, &path, clip, transform, &brush, &origin,
                                         &attributes, mix);
}

BOOL Device::fill(Path& path, Clip* clip, Brush& brush, FLONG options, MIX mix) {
    brush.bind(this);
    POINTL origin = {};
    return draw<decltype(DrvFillPath)>(HOOK_FILLPATH, INDEX_DrvFillPath, &path, clip, &brush, &origin, mix, options);
}

BOOL Device::stroke_and_fill(Path& path, Clip* clip, Transform* transform, Brush& stroke, const LINEATTRS& line,
                             Brush& fill, FLONG options, MIX mix) {
    stroke.bind(this);
    fill.bind(this);
    LINEATTRS attributes = line;
    POINTL origin = {};
    return draw<decltype(DrvStrokeAndFillPath)>(HOOK_STROKEANDFILLPATH, INDEX_DrvStrokeAndFillPath, &path, clip,
                                                transform, &stroke, &attributes, &fill, &origin, mix, options);
}

BOOL Device::realize(Brush& brush, Translation& translation, ULONG hatch) {
    return driver_.hook<decltype(DrvRealizeBrush)>(INDEX_DrvRealizeBrush)(&brush, surface_, nullptr, nullptr,
                                                                          &translation, hatch);
}

LiveHandles live_handles() { return {live_surfaces(), live_palettes(), Path::live_count()}; }

}  // namespace kv::engine
