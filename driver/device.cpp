// Devices and their surfaces.

#include <algorithm>
#include <cstring>

#include "driver/capabilities.h"
#include "driver/hooks.h"
#include "driver/pdevice.h"
#include "settings/device_settings.h"
#include "settings/page_size.h"
#include "settings/printer_info.h"
#include "support/assert.h"
#include "support/trace.h"

namespace kv {
namespace {

constexpr WORD kDefaultResolution = 600;  // dots per inch

// A device has pixels: without a resolution it takes the default one, and margins that leave nothing of the page are
// none.
void make_usable(DriverDevMode& settings) {
    PrivateDevMode& kv = settings.kv;
    if (kv.Resolution == 0) {
        KV_TRACE(Driver, Warning, "no resolution: %u dpi", kDefaultResolution);
        kv.Resolution = kDefaultResolution;
    }
    const GDIINFO page = make_gdiinfo(settings);
    auto is_nothing = [](ULONG size) { return static_cast<LONG>(size) <= 0; };
    const bool no_width = is_nothing(page.ulHorzRes) || is_nothing(page.ulHorzSize);
    const bool no_height = is_nothing(page.ulVertRes) || is_nothing(page.ulVertSize);
    if (no_width || no_height) KV_TRACE(Driver, Warning, "the margins leave nothing of the page: there are none");
    if (no_width) kv.MarginLeft = kv.MarginRight = 0;
    if (no_height) kv.MarginTop = kv.MarginBottom = 0;
    KV_ASSERT(kv.Resolution > 0);
}

PDEVICE* to_device(DHPDEV device) { return reinterpret_cast<PDEVICE*>(device); }
DHPDEV to_handle(PDEVICE* device) { return reinterpret_cast<DHPDEV>(device); }

// The spooler's name, or the device mode's, or the one given.
void find_names(PDEVICE& device, const DEVMODEW* mode, const WCHAR* device_name) {
    HeapArray<BYTE> block;
    if (CPrinter::GetPrinterInfo(device.printer, 5, block, TRUE)) {
        const auto* info = reinterpret_cast<const PRINTER_INFO_5W*>(block.get());
        device.printer_name.assign(info->pPrinterName);
        device.port_name.assign(info->pPortName);
    }
    if (device.printer_name.empty() && mode) {
        TextBuffer<CCHDEVICENAME + 1> name;
        std::memcpy(name.data(), mode->dmDeviceName, sizeof mode->dmDeviceName);
        name.truncate(CCHDEVICENAME);
        device.printer_name.assign(name.c_str());
    }
    if (device.printer_name.empty()) device.printer_name.assign(device_name);
    KV_TRACE(Driver, Info, "printer %s on port %s", TraceText(device.printer_name.c_str()).c_str(),
             TraceText(device.port_name.c_str()).c_str());
}

// Fills as much of the engine's buffer as it has, and zeroes what is beyond the structure.
template <class Info>
void hand_out(const Info& info, void* buffer, ULONG size) {
    if (!buffer) return;
    const size_t known = size < sizeof info ? size : sizeof info;
    KV_ASSERT(known <= size);
    std::memcpy(buffer, &info, known);
    std::memset(static_cast<BYTE*>(buffer) + known, 0, size - known);
}

}  // namespace

PDEVICE::~PDEVICE() { release_document_state(); }

BOOL PDEVICE::alloc_working_state() {
    // Bytes: of paths, enough for some thousand points; of what is copied from an application at a time.
    constexpr DWORD kPaths = 65520, kScratch = 1024;
    if (!reserve_paths(kPaths - sizeof(PathHead)) || !scratch.alloc(kScratch)) {
        return KV_FAIL(Driver, "no memory to record with");
    }
    scratch_size = kScratch;
    return TRUE;
}

void PDEVICE::release_document_state() {
    if (dispatcher) dispatcher->EndDoc(nullptr);
    job_id = 0;
    pending.clear();
    dispatcher.reset();
    trays.reset();
    document_open = 0;
    EndDocument();
    KV_ASSERT(!job && !document_open && !dispatcher);
    if (palette) EngDeletePalette(palette);
    static_cast<DocumentState&>(*this) = DocumentState();
}

BOOL PDEVICE::take_document_from(PDEVICE& other) {
    KV_ASSERT(&other != this);
    if (!other.pending.flush(other)) {
        other.SetFailed();  // it may go on without this device
        return KV_FAIL(Driver, "what was held is lost: the document stays where it is");
    }
    release_document_state();
    KV_ASSERT(!job && !pending.is_pending() && !other.pending.is_pending());
    static_cast<DocumentState&>(*this) = std::move(static_cast<DocumentState&>(other));
    static_cast<DocumentState&>(other) = DocumentState();
    KV_TRACE(Driver, Info, "%u pages and %u bytes move to another device", static_cast<unsigned>(page_count),
             static_cast<unsigned>(position));
    if (!settings.kv.PathEscapes) forget_paths();  // here no escape would end the capture
    return TRUE;
}

}  // namespace kv

using kv::PDEVICE;
using kv::to_device;

DHPDEV APIENTRY DrvEnablePDEV(DEVMODEW* mode, LPWSTR, ULONG pattern_count, HSURF* patterns, ULONG gdiinfo_size,
                              ULONG* gdiinfo, ULONG devinfo_size, DEVINFO* devinfo, HDEV, LPWSTR device_name,
                              HANDLE printer) {
    kv::ObjectPtr<PDEVICE> device(kv::make_object<PDEVICE>());
    if (!device) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return KV_FAIL(Driver, "no memory for a device"), nullptr;
    }
    device->printer = printer;
    kv::find_names(*device, mode, device_name);
    kv::LoadDeviceSettings(printer, nullptr, device->printer_name.c_str(), mode, device->settings);
    kv::make_usable(device->settings);
    device->palette = EngCreatePalette(PAL_BGR, 0, nullptr, 0, 0, 0);
    if (!device->palette) KV_FAIL(Driver, "the engine makes no palette");
    kv::hand_out(kv::make_devinfo(device->settings, device->palette), devinfo, devinfo_size);
    kv::hand_out(kv::make_gdiinfo(device->settings), gdiinfo, gdiinfo_size);
    if (patterns) std::fill_n(patterns, pattern_count, nullptr);
    if (!device->alloc_working_state()) {
        device.reset();
        SetLastError(ERROR_GEN_FAILURE);
        return nullptr;
    }
    SetLastError(ERROR_SUCCESS);
    return kv::to_handle(device.release());
}

void APIENTRY DrvCompletePDEV(DHPDEV handle, HDEV engine_device) {
    PDEVICE* device = to_device(handle);
    if (device) device->engine_device = engine_device;
    SetLastError(device ? ERROR_SUCCESS : ERROR_INVALID_PARAMETER);
}

BOOL APIENTRY DrvResetPDEV(DHPDEV old_handle, DHPDEV new_handle) {
    PDEVICE *old_device = to_device(old_handle), *new_device = to_device(new_handle);
    if (!old_device || !new_device) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return KV_FAIL(Driver, "no device");
    }
    if (new_device != old_device && !new_device->take_document_from(*old_device)) {
        new_device->SetFailed();
        SetLastError(ERROR_GEN_FAILURE);
        return FALSE;
    }
    SetLastError(ERROR_SUCCESS);
    return TRUE;
}

void APIENTRY DrvDisablePDEV(DHPDEV handle) {
    PDEVICE* device = to_device(handle);
    const bool given = device != nullptr;
    kv::destroy_object(device);
    SetLastError(given ? ERROR_SUCCESS : ERROR_INVALID_PARAMETER);
}

HSURF APIENTRY DrvEnableSurface(DHPDEV handle) {
    PDEVICE* device = to_device(handle);
    if (!device) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return KV_FAIL(Driver, "no device"), nullptr;
    }
    const RECTL printable = kv::GetPrintableRect(device->settings);
    const SIZEL size = {printable.right - printable.left, printable.bottom - printable.top};
    device->surface = EngCreateDeviceSurface(reinterpret_cast<DHSURF>(device), size, BMF_24BPP);
    if (!device->surface) {
        SetLastError(ERROR_GEN_FAILURE);
        return KV_FAIL(Driver, "the engine makes no surface"), nullptr;
    }
    EngAssociateSurface(device->surface, device->engine_device, kv::surface_hooks());
    if (kv::is_hooked(INDEX_DrvStartBanding) && kv::is_hooked(INDEX_DrvNextBand) &&
        kv::is_hooked(INDEX_DrvQueryPerBandInfo)) {
        EngMarkBandingSurface(device->surface);
    }
    SetLastError(ERROR_SUCCESS);
    return device->surface;
}

void APIENTRY DrvDisableSurface(DHPDEV handle) {
    PDEVICE* device = to_device(handle);
    if (!device) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return;
    }
    if (HSURF surface = std::exchange(device->surface, nullptr)) EngDeleteSurface(surface);
    SetLastError(ERROR_SUCCESS);
}
