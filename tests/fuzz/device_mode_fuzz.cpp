// Any device mode from an application and from the spooler: what is merged of it is whole, and everything that is
// made of the result works.

#include <cstring>

#include "settings/device_settings.h"
#include "settings/page_size.h"
#include "tests/fuzz/fuzz_input.h"
#include "ui/document_properties.h"
#include "ui/settings_model.h"

namespace kv {
namespace {

constexpr size_t kPublicSize = sizeof(DEVMODEW);

// Its sizes are true, but for every eighth; the block has exactly its bytes.
struct Mode {
    std::unique_ptr<BYTE[]> bytes;
    size_t size = 0;
    const DEVMODEW* get() const { return reinterpret_cast<const DEVMODEW*>(bytes.get()); }
};
Mode take_mode(FuzzInput& in) {
    const DWORD kind = in.u8(), version = in.u16();
    const std::vector<BYTE> content = in.bytes(in.u16() % 1200);
    Mode mode = {nullptr, std::max(kPublicSize, content.size())};
    mode.bytes.reset(new BYTE[mode.size]());
    std::copy(content.begin(), content.end(), mode.bytes.get());
    auto* head = reinterpret_cast<DEVMODEW*>(mode.bytes.get());
    if (kind % 8 == 7) return mode;
    head->dmSize = kPublicSize;
    head->dmDriverExtra = static_cast<WORD>(mode.size - kPublicSize);
    if (kind % 8 != 6) head->dmDriverVersion = static_cast<WORD>(0x0C04 - version % 0x900);
    return mode;
}

void check_whole(const DriverDevMode& mode) {
    require(mode.dmSize == kPublicSize && mode.dmDriverExtra == sizeof mode.kv && IsValidDevMode(&mode));
    require(std::memchr(mode.kv.application, 0, sizeof mode.kv.application) != nullptr);
    require(std::memchr(mode.kv.DefaultFont, 0, sizeof mode.kv.DefaultFont) != nullptr);
    require(mode.dmFormName[CCHFORMNAME - 1] == 0 && mode.dmDeviceName[CCHDEVICENAME - 1] == 0);
    const PageSize page = GetPaperSizePixels(mode, mode.kv.Resolution);
    require(page.width_px >= 0 && page.height_px >= 0);
    GetPrintableRect(mode);
    DriverDevMode again = mode;
    for (int setting = 0; setting <= static_cast<int>(Setting::Compression); ++setting) {
        set_setting(again, static_cast<Setting>(setting), get_setting(mode, static_cast<Setting>(setting)));
    }
    set_sheet_size(again, get_sheet_size(mode));
}

void convert(const Mode& mode, LONG room, DWORD what) {
    const std::unique_ptr<BYTE[]> out(new BYTE[static_cast<size_t>(room)]());
    LONG size = room;
    convert_mode(TEXT("P"), mode.get(), reinterpret_cast<DEVMODEW*>(out.get()), &size, what);
    require(size >= 0);
}

void run(FuzzInput& in) {
    const Mode application = take_mode(in), spooler = take_mode(in);
    const DWORD what = in.u8();
    const LONG room = static_cast<LONG>(in.u16() % 900);
    DriverDevMode merged;
    InitDefaultDevMode(TEXT("\\\\server\\P"), merged);
    check_whole(merged);
    if (application.get()->dmSize == kPublicSize &&
        kPublicSize + application.get()->dmDriverExtra <= application.size) {
        MergeDevMode(application.get(), merged);
        check_whole(merged);
        convert(application, room, what);
    }
    host::Printer printer;
    printer.name = u"P";
    auto& held = what % 2 ? printer.devmode8 : printer.devmode9;
    held.assign(spooler.bytes.get(), spooler.bytes.get() + spooler.size);
    const HANDLE handle = host::open_printer(printer);
    LoadDeviceSettings(handle, nullptr, TEXT("P"), nullptr, merged);
    check_whole(merged);
    host::close_printer(handle);
}

}  // namespace
}  // namespace kv

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kv::host::set_messages_quiet(true);
    kv::FuzzInput in(data, size);
    kv::run(in);
    return 0;
}
