#pragma once
// Device modes between applications, the spooler and the driver: merged, checked and converted by the driver's own
// rules.

#include "platform/printer_ui.h"
#include "settings/device_mode.h"

namespace kv {

// The device mode that a printout with `in` (null: none) would have, all layers of settings applied.
void settled_mode(HANDLE printer, const WCHAR* printer_name, const DEVMODEW* in, DriverDevMode& mode);

enum : LONG { kPropertiesFailed = -1, kPropertiesDone = 1, kPropertiesCancelled = 2 };  // 1 and 2: IDOK, IDCANCEL
// What DocumentProperties asks without a dialog. Without DM_* the answer is the bytes of a device mode, also in cbOut.
// A buffer that is too small is a failure with ERROR_INSUFFICIENT_BUFFER.
LONG document_properties(DOCUMENTPROPERTYHEADER& request);
// Copies a device mode to the request's buffer.
LONG give_mode(const DOCUMENTPROPERTYHEADER& request, const DriverDevMode& mode);

// A device mode of another version as one of this driver's, or the driver's defaults (CDM_*). `size` holds the bytes of
// `out` and receives those of the result; FALSE with ERROR_INSUFFICIENT_BUFFER when they are too few.
BOOL convert_mode(const WCHAR* printer_name, const DEVMODEW* in, DEVMODEW* out, LONG* size, DWORD what);

// Whether a document with the device mode can be printed. FALSE with a text of why not, which is cut where the request
// has no place for it.
BOOL query_print(DEVQUERYPRINT_INFO& request);

}  // namespace kv
