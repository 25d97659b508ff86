#include "settings/printer_info.h"

#include <cstring>

#include "support/message.h"

namespace kv {
namespace {

BOOL fail(bool quiet) {
    if (!quiet) report_system_error(TEXT("GetPrinter"), GetLastError());
    return FALSE;
}

const DEVMODEW* devmode_of(const BYTE* info, DWORD level) {
    if (level == 2) return reinterpret_cast<const PRINTER_INFO_2W*>(info)->pDevMode;
    return reinterpret_cast<const PRINTER_INFO_8W*>(info)->pDevMode;  // level 9 has the same shape
}

}  // namespace

BOOL CPrinter::GetPrinterInfo(HANDLE printer, DWORD level, HeapArray<BYTE>& info, bool quiet) {
    constexpr int kAttempts = 5;
    info.reset();
    if (!printer) return FALSE;
    DWORD needed = 0;
    if (GetPrinterW(printer, level, nullptr, 0, &needed) || GetLastError() != ERROR_INSUFFICIENT_BUFFER) {
        return fail(quiet);
    }
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        if (!info.alloc(needed, quiet ? nullptr : TEXT("CPrinter::GetPrinterInfo"))) return FALSE;
        if (GetPrinterW(printer, level, info.get(), needed, &needed)) return TRUE;
        DWORD error = GetLastError();
        info.reset();
        SetLastError(error);
        if (error != ERROR_INSUFFICIENT_BUFFER) return fail(quiet);
    }
    return FALSE;
}

BOOL GetPrinterDevMode(HANDLE printer, DWORD level, HeapArray<BYTE>& mode, bool quiet) {
    mode.reset();
    if (level != 2 && level != 8 && level != 9) return FALSE;
    HeapArray<BYTE> info;
    if (!CPrinter::GetPrinterInfo(printer, level, info, quiet)) return FALSE;
    const DEVMODEW* source = devmode_of(info.get(), level);
    if (!source) return FALSE;
    size_t size = size_t{source->dmSize} + source->dmDriverExtra;
    if (!mode.alloc(size)) return FALSE;
    std::memcpy(mode.get(), source, size);
    return TRUE;
}

}  // namespace kv
