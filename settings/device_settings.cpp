#include "settings/device_settings.h"

#include <cstring>

#include "settings/printer_info.h"
#include "support/assert.h"
#include "support/message.h"
#include "support/os_level.h"
#include "support/process_state.h"
#include "support/reg_key.h"
#include "support/trace.h"

namespace kv {
namespace {

// Reads the values of one layer in their fixed order.
class LayerReader {
public:
    LayerReader(CRegKey& key, DriverDevMode& settings) : key_(key), out_(settings) {}

    void read_all() {
        number(TEXT("PaperSize"), &DEVMODEW::dmPaperSize, DM_PAPERSIZE);
        number(TEXT("Orientation"), &DEVMODEW::dmOrientation, DM_ORIENTATION);
        resolution();
        paper_name();
        number(TEXT("PaperWidth"), &DEVMODEW::dmPaperWidth, DM_PAPERWIDTH);
        number(TEXT("PaperHeight"), &DEVMODEW::dmPaperLength, DM_PAPERLENGTH);
        number(TEXT("BitDepth"), &DEVMODEW::dmBitsPerPel, DM_BITSPERPEL);
        number(TEXT("MarginLeft"), &PrivateDevMode::MarginLeft, kPrivateMarginLeft);
        number(TEXT("MarginTop"), &PrivateDevMode::MarginTop, kPrivateMarginTop);
        number(TEXT("MarginRight"), &PrivateDevMode::MarginRight, kPrivateMarginRight);
        number(TEXT("MarginBottom"), &PrivateDevMode::MarginBottom, kPrivateMarginBottom);
        number(TEXT("ShowDlg"), &PrivateDevMode::ShowDlg, kPrivateShowDlg);
        number(TEXT("Compression"), &PrivateDevMode::Compression, kPrivateCompression);
        default_font();
        number(TEXT("PathEscapes"), &PrivateDevMode::PathEscapes, kPrivatePathEscapes);
        number(TEXT("AutoEm"), &PrivateDevMode::AutoEm, kPrivateAutoEm);
        number(TEXT("ResDownSampMono"), &PrivateDevMode::ResDownSampMono, kPrivateResDownSampMono);
        number(TEXT("ResDownSamp"), &PrivateDevMode::ResDownSamp, kPrivateResDownSamp);
        number(TEXT("JpegQuality"), &PrivateDevMode::JpegQuality, kPrivateJpegQuality);
        number(TEXT("KvAction"), &PrivateDevMode::KvAction, kPrivateKvAction);
    }

private:
    // Any value whose data fits 4 bytes is a number.
    bool read(const WCHAR* name, DWORD* value) {
        DWORD size = 0;
        *value = 0;
        return key_.read_raw(name, value, sizeof *value, &size) != FALSE;
    }

    template <class Field>
    void number(const WCHAR* name, Field DEVMODEW::*field, DWORD flag) {
        DWORD value = 0;
        if (!read(name, &value)) return;
        out_.*field = static_cast<Field>(value);
        out_.dmFields |= flag;
    }
    template <class Field>
    void number(const WCHAR* name, Field PrivateDevMode::*field, DWORD flag) {
        DWORD value = 0;
        if (!read(name, &value)) return;
        out_.kv.*field = static_cast<Field>(value);
        out_.kv.mask |= flag;
    }

    void resolution() {
        DWORD value = 0;
        if (!read(TEXT("Resolution"), &value)) return;
        out_.dmYResolution = out_.dmPrintQuality = static_cast<SHORT>(value);
        out_.dmFields |= DM_YRESOLUTION | DM_PRINTQUALITY;
        out_.kv.Resolution = static_cast<WORD>(value);
        out_.kv.mask |= kPrivateResolution;
    }

    // A text of at most 31 units and its terminator.
    bool read_name(const WCHAR* name, WCHAR (&text)[33]) {
        DWORD size = 0;
        std::memset(text, 0, sizeof text);
        return key_.read_raw(name, text, 32 * sizeof(WCHAR), &size) && text_length(text) <= 31;
    }

    void paper_name() {
        WCHAR text[33];
        if (!read_name(TEXT("PaperName"), text)) return;
        copy_text(out_.dmFormName, CCHFORMNAME, text);
        out_.dmFields |= DM_FORMNAME;
    }

    void default_font() {
        WCHAR text[33];
        if (!read_name(TEXT("DefaultFont"), text)) return;
        to_ansi(out_.kv.DefaultFont, sizeof out_.kv.DefaultFont, text);
        out_.kv.mask |= kPrivateDefaultFont;
    }

    CRegKey& key_;
    DriverDevMode& out_;
};

void merge_printer_devmode(HANDLE printer, DWORD level, DriverDevMode& settings) {
    HeapArray<BYTE> mode;
    if (GetPrinterDevMode(printer, level, mode, true)) {
        MergeDevMode(reinterpret_cast<const DEVMODEW*>(mode.get()), settings);
    }
}

void read_layers(HKEY root, const WCHAR* printer_name, RegistryMode mode, DriverDevMode& settings) {
    ReadRegistryDevMode(root, printer_name, mode, settings);
    if (mode == RegistryMode::EnforcedOnly) return;
    KV_ASSERT(settings.dmDriverExtra == sizeof settings.kv);
    DriverDevMode enforced;
    ReadRegistryDevMode(root, printer_name, RegistryMode::EnforcedOnly, enforced);
    MergeDevMode(&enforced, settings);
}

}  // namespace

void ReadRegistryDevMode(HKEY root, const WCHAR* printer_name, RegistryMode mode, DriverDevMode& settings) {
    InitDefaultDevMode(printer_name, settings);
    settings.dmFields = 0;
    settings.kv.mask = 0;
    if (!printer_name || !*printer_name) return;
    TextBuffer<512> path;
    GetPrinterSettingsKeyPath(printer_name, path);
    if (mode == RegistryMode::DefaultsAndEnforced) path.append(TEXT("\\PrinterDriverData"));
    CRegKey key;
    if (key.Open(KEY_READ | KEY_WRITE, root, path.c_str())) LayerReader(key, settings).read_all();
    KV_TRACE(Settings, Info, "public fields %X and private ones %X of %s", static_cast<unsigned>(settings.dmFields),
             static_cast<unsigned>(settings.kv.mask), TraceText(path.c_str()).c_str());
}

void ReadUserSettings(const WCHAR* user, const WCHAR* printer_name, RegistryMode mode, DriverDevMode& settings) {
    CRegKey user_root;
    HKEY root = HKEY_CURRENT_USER;
    if (user && *user) {
        if (user_root.Open(KEY_READ, HKEY_USERS, user)) {
            root = user_root.handle();
        } else {
            report_message(kMessageText, TEXT("HKCU is not valid, but cannot find a subkey in HKEY_USERS."), nullptr,
                           MessageKind::Information);
        }
    }
    read_layers(root, printer_name, mode, settings);
}

void LoadDeviceSettings(HANDLE printer, const WCHAR* user, const WCHAR* printer_name, const DEVMODEW* application,
                        DriverDevMode& settings) {
    InitDefaultDevMode(printer_name, settings);
    bool old_system = process_state().os_level == kLevelNt4;
    if (!old_system) merge_printer_devmode(printer, 8, settings);
    merge_printer_devmode(printer, old_system ? 2 : 9, settings);
    DriverDevMode scratch;
    ReadUserSettings(user, printer_name, RegistryMode::DefaultsAndEnforced, scratch);
    MergeDevMode(&scratch, settings);
    if (application) MergeDevMode(application, settings);
    ReadUserSettings(user, printer_name, RegistryMode::EnforcedOnly, scratch);
    MergeDevMode(&scratch, settings);
    KV_TRACE(Settings, Info, "resolution %u, paper %d, orientation %d, compression %X, images to %u and %u dpi",
             settings.kv.Resolution, settings.dmPaperSize, settings.dmOrientation, settings.kv.Compression,
             settings.kv.ResDownSamp, settings.kv.ResDownSampMono);
}

}  // namespace kv
