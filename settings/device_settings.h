#pragma once
// The layers of settings: driver defaults, the printer's device modes, the registry's user defaults and enforced
// values, the application's device mode, and the enforced values once more.

#include "settings/device_mode.h"

namespace kv {

// Never fails: a layer that is missing or unusable is passed over. `user` names a key of HKEY_USERS to read in
// place of HKEY_CURRENT_USER, or is null.
void LoadDeviceSettings(HANDLE printer, const WCHAR* user, const WCHAR* printer_name, const DEVMODEW* application,
                        DriverDevMode& settings);

enum class RegistryMode { DefaultsAndEnforced = 1, EnforcedOnly = 3 };
void ReadUserSettings(const WCHAR* user, const WCHAR* printer_name, RegistryMode mode, DriverDevMode& settings);
// One layer: DefaultsAndEnforced reads the subkey "PrinterDriverData", EnforcedOnly the printer key itself. Only
// values that were read are flagged.
void ReadRegistryDevMode(HKEY root, const WCHAR* printer_name, RegistryMode mode, DriverDevMode& settings);

}  // namespace kv
