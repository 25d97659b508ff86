#pragma once
// What the printer can do, as applications ask for it.

#include "platform/win32.h"

namespace kv {

inline constexpr DWORD kNoSuchCapability = 0xFFFFFFFF;

// The resolutions that are offered, dots per inch; a device mode may say any other.
inline constexpr LONG kResolutions[] = {75, 150, 200, 300, 400, 600, 1200, 2400};

// The answer to DeviceCapabilities: a value, or a number of entries, which are written to `output` where it is not
// null: WORD for papers and trays, POINT in tenths of a millimetre, pairs of LONG for resolutions, 64 units for a
// paper's name and 24 for a tray's, both cut but terminated. kNoSuchCapability for a question that does not apply.
DWORD device_capability(const WCHAR* printer, WORD capability, void* output);

}  // namespace kv
