#pragma once
// The page of a device mode in pixels and millimetres.

#include "settings/device_mode.h"

namespace kv {

struct PageSize {
    LONG width_px, height_px, width_mm, height_mm;
};

// Of the paper and orientation at a resolution in dots per inch; the default paper when the device mode gives
// no usable size.
PageSize GetPaperSizePixels(const DEVMODEW& mode, int resolution);
// The page less its margins, in pixels at the settings' resolution.
RECTL GetPrintableRect(const DriverDevMode& settings);

}  // namespace kv
