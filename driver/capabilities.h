#pragma once
// What the driver tells the graphics engine about a device.

#include "platform/ddi.h"
#include "settings/device_mode.h"

namespace kv {

GDIINFO make_gdiinfo(const DriverDevMode& settings);
DEVINFO make_devinfo(const DriverDevMode& settings, HPALETTE palette);
// The longer side of a right-angled triangle of two aspects, rounded to nearest.
ULONG diagonal_aspect(ULONG x, ULONG y);

}  // namespace kv
