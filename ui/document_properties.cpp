#include "ui/document_properties.h"

#include <cstring>

#include "settings/device_settings.h"
#include "settings/page_size.h"
#include "support/trace.h"
#include "ui/papers.h"
#include "ui/settings_model.h"
#include "ui/texts.h"

namespace kv {
namespace {

LONG refuse(DWORD error) {
    SetLastError(error);
    KV_FAIL(Settings, "refused");
    return kPropertiesFailed;
}

bool knows_paper(const DEVMODEW& mode) {
    if (!(mode.dmFields & DM_PAPERSIZE) || mode.dmPaperSize == 0) return true;  // the printer's default
    constexpr DWORD kSizes = DM_PAPERWIDTH | DM_PAPERLENGTH;
    if ((mode.dmFields & kSizes) == kSizes && mode.dmPaperWidth > 0 && mode.dmPaperLength > 0) return true;
    const Papers papers;
    for (size_t i = 0; i < papers.count(); ++i) {
        if (papers[i].id == static_cast<WORD>(mode.dmPaperSize)) return true;
    }
    return false;
}

// Null when nothing is wrong.
UiText what_is_wrong(const DEVMODEW* mode) {
    if (!mode) return UiText{};
    if (!IsValidDevMode(mode)) return kTextBadPaper;
    return knows_paper(*mode) ? UiText{} : kTextBadPaper;
}

}  // namespace

void settled_mode(HANDLE printer, const WCHAR* printer_name, const DEVMODEW* in, DriverDevMode& mode) {
    LoadDeviceSettings(printer, nullptr, printer_name, in, mode);
}

LONG give_mode(const DOCUMENTPROPERTYHEADER& request, const DriverDevMode& mode) {
    if (!request.pdmOut) return refuse(ERROR_INVALID_PARAMETER);
    // Where no size is said the caller has asked for it before.
    if (request.cbOut != 0 && request.cbOut < sizeof mode) return refuse(ERROR_INSUFFICIENT_BUFFER);
    std::memcpy(request.pdmOut, &mode, sizeof mode);
    return kPropertiesDone;
}

LONG document_properties(DOCUMENTPROPERTYHEADER& request) {
    if (request.fMode == 0) {
        request.cbOut = sizeof(DriverDevMode);
        return sizeof(DriverDevMode);
    }
    if (!(request.fMode & DM_OUT_BUFFER)) return kPropertiesDone;
    const DEVMODEW* in = request.fMode & DM_IN_BUFFER ? request.pdmIn : nullptr;
    DriverDevMode mode;
    settled_mode(request.hPrinter, request.pszPrinterName, in, mode);
    return give_mode(request, mode);
}

BOOL convert_mode(const WCHAR* printer_name, const DEVMODEW* in, DEVMODEW* out, LONG* size, DWORD what) {
    if (!size || (what != CDM_CONVERT && what != CDM_CONVERT351 && what != CDM_DRIVER_DEFAULT)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const bool fits = out && *size >= static_cast<LONG>(sizeof(DriverDevMode));
    *size = sizeof(DriverDevMode);
    if (!fits) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    DriverDevMode mode;
    InitDefaultDevMode(printer_name ? printer_name : TEXT(""), mode);
    if (what != CDM_DRIVER_DEFAULT && in) MergeDevMode(in, mode);
    std::memcpy(out, &mode, sizeof mode);
    SetLastError(0);
    return TRUE;
}

BOOL query_print(DEVQUERYPRINT_INFO& request) {
    const UiText wrong = what_is_wrong(request.pDevMode);
    if (wrong == UiText{}) return TRUE;
    UiLine text;
    load_text(wrong, text);
    request.cchNeeded = static_cast<DWORD>(text.length() + 1);
    if (request.pszErrorStr && request.cchErrorStr > 0) {
        copy_text(request.pszErrorStr, request.cchErrorStr, text.c_str());
    }
    return FALSE;
}

}  // namespace kv
