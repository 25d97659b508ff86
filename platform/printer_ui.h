#pragma once
// The printer interface's user-interface side in our own declarations, the same on both systems: what the spooler asks
// a printer driver's configuration library. Names, order and widths of fields are those of the published interface.

#include "platform/win32.h"

// What DrvDocumentPropertySheets is given.
struct DOCUMENTPROPERTYHEADER {
    WORD cbSize, Reserved;
    HANDLE hPrinter;
    LPWSTR pszPrinterName;
    DEVMODEW *pdmIn, *pdmOut;
    DWORD cbOut;  // bytes of pdmOut; without DM_* in fMode it receives the bytes of a device mode
    DWORD fMode;  // DM_IN_BUFFER, DM_IN_PROMPT, DM_OUT_BUFFER
};
// What DrvDevicePropertySheets is given.
struct DEVICEPROPERTYHEADER {
    WORD cbSize, Flags;
    HANDLE hPrinter;
    LPWSTR pszPrinterName;
};
inline constexpr WORD DPS_NOPERMISSION = 0x0001;

// What DevQueryPrintEx is given; pszErrorStr has cchErrorStr units and receives a text where the answer is FALSE.
struct DEVQUERYPRINT_INFO {
    WORD cbSize, Level;
    HANDLE hPrinter;
    DEVMODEW* pDevMode;
    LPWSTR pszErrorStr;
    DWORD cchErrorStr, cchNeeded;
};

// What DrvConvertDevMode is to do.
enum : DWORD { CDM_CONVERT = 1, CDM_CONVERT351 = 2, CDM_DRIVER_DEFAULT = 4 };
