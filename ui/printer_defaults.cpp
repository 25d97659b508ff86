#include "ui/printer_defaults.h"

#include "support/reg_key.h"
#include "support/trace.h"

namespace kv {
namespace {

const WCHAR* value_name(Setting setting) {
    switch (setting) {
        case Setting::Paper:
            return TEXT("PaperSize");
        case Setting::Orientation:
            return TEXT("Orientation");
        case Setting::Resolution:
            return TEXT("Resolution");
        case Setting::Depth:
            return TEXT("BitDepth");
        case Setting::Compression:
            return TEXT("Compression");
        case Setting::JpegQuality:
            return TEXT("JpegQuality");
        case Setting::DownsampleDpi:
            return TEXT("ResDownSamp");
        case Setting::DownsampleMonoDpi:
            return TEXT("ResDownSampMono");
        default:
            return nullptr;
    }
}

TextBuffer<512> layer_path(const WCHAR* printer, Layer layer) {
    TextBuffer<512> path;
    GetPrinterSettingsKeyPath(printer, path);
    if (layer == Layer::Default) path.append(TEXT("\\PrinterDriverData"));
    return path;
}

constexpr const WCHAR *kEmbed = TEXT("EmbedFonts"), *kCapture = TEXT("CaptureFonts");

}  // namespace

bool read_stored(const WCHAR* printer, Layer layer, Setting setting, LONG& value) {
    CRegKey key;
    DWORD data = 0, size = 0;
    const WCHAR* name = value_name(setting);
    if (!name || !key.Open(KEY_READ, HKEY_CURRENT_USER, layer_path(printer, layer).c_str()) ||
        !key.read_raw(name, &data, sizeof data, &size)) {
        return false;
    }
    value = setting == Setting::Depth ? static_cast<LONG>(data) : LOWORD(data);
    return true;
}

BOOL write_stored(const WCHAR* printer, Layer layer, Setting setting, LONG value) {
    CRegKey key;
    const WCHAR* name = value_name(setting);
    if (!name || !*printer) return KV_FAIL(Settings, "no such value");
    return key.Create(kPrinterKeyCreate, HKEY_CURRENT_USER, layer_path(printer, layer).c_str()) &&
           key.WriteDword(name, static_cast<DWORD>(value));
}

BOOL delete_stored(const WCHAR* printer, Layer layer, Setting setting) {
    CRegKey key;
    const WCHAR* name = value_name(setting);
    if (!name || !key.Open(KEY_READ | KEY_WRITE, HKEY_CURRENT_USER, layer_path(printer, layer).c_str())) return TRUE;
    return !key.ValueExists(name) || key.DeleteValue(name);
}

FontSettings read_font_settings() {
    CRegKey key;
    if (!open_product_key(key, HKEY_CURRENT_USER)) return {};
    return {key.ReadDword(kEmbed, 0) != 0, key.ReadDword(kCapture, 0) != 0};
}

BOOL write_font_settings(FontSettings settings) {
    CRegKey key;
    return create_product_key(key, HKEY_CURRENT_USER) && key.WriteDword(kEmbed, settings.embed) &&
           key.WriteDword(kCapture, settings.capture);
}

}  // namespace kv
