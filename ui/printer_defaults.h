#pragma once
// What a printer's registry key holds of settings: the user's defaults, which an application can override, and enforced
// values, which it cannot; and the settings of fonts, which count for all printers of the user.

#include "ui/settings_model.h"

namespace kv {

enum class Layer { Default, Enforced };

// The settings that the registry can hold, in the order in which they are shown.
inline constexpr Setting kStoredSettings[] = {
    Setting::Paper,       Setting::Orientation, Setting::Resolution,    Setting::Depth,
    Setting::Compression, Setting::JpegQuality, Setting::DownsampleDpi, Setting::DownsampleMonoDpi,
};

bool read_stored(const WCHAR* printer, Layer layer, Setting setting, LONG& value);
// The keys are made where they are missing.
BOOL write_stored(const WCHAR* printer, Layer layer, Setting setting, LONG value);
BOOL delete_stored(const WCHAR* printer, Layer layer, Setting setting);

struct FontSettings {
    bool embed, capture;
};
FontSettings read_font_settings();
BOOL write_font_settings(FontSettings settings);

}  // namespace kv
