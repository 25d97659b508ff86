#pragma once
// The device mode of a page of a size in points.

#include "platform/win32.h"

namespace kvprint {

// A standard paper where one is within a millimetre, else a custom size in tenths of a millimetre. Throws
// std::runtime_error for a page that is larger than a device mode can say (3.2 m) or has no area.
DEVMODEW device_mode_for(float width, float height);

}  // namespace kvprint
