#include "settings/printer_info.h"

#include <cstddef>
#include <cstring>
#include <span>

#include "support/assert.h"
#include "support/last_error.h"
#include "support/little_endian.h"
#include "support/message.h"
#include "support/trace.h"

namespace kv {
namespace {

BOOL fail(bool quiet) {
    if (!quiet) report_system_error(TEXT("GetPrinter"), GetLastError());
    return KV_FAIL(Settings, "GetPrinterW");
}

const DEVMODEW* devmode_of(std::span<const BYTE> info, DWORD level) {
    const bool level2 = level == 2;
    if (info.size() < (level2 ? sizeof(PRINTER_INFO_2W) : sizeof(PRINTER_INFO_8W))) return nullptr;
    if (level2) return reinterpret_cast<const PRINTER_INFO_2W*>(info.data())->pDevMode;
    return reinterpret_cast<const PRINTER_INFO_8W*>(info.data())->pDevMode;  // level 9 has the same shape
}

// The bytes of the device mode that the information points at. Empty when there is none, or when it does not lie inside
// the information with all the bytes that it says it has.
std::span<const BYTE> devmode_bytes(std::span<const BYTE> info, DWORD level) {
    constexpr size_t kHead = offsetof(DEVMODEW, dmFields);
    const DEVMODEW* held = devmode_of(info, level);
    if (!held) return {};
    const auto at = reinterpret_cast<uintptr_t>(held) - reinterpret_cast<uintptr_t>(info.data());
    if (at > info.size() || info.size() - at < kHead) return {};
    const BYTE* mode = info.data() + at;
    const size_t size =
        size_t{load_u16(mode + offsetof(DEVMODEW, dmSize))} + load_u16(mode + offsetof(DEVMODEW, dmDriverExtra));
    return size >= kHead && size <= info.size() - at ? info.subspan(at, size) : std::span<const BYTE>();
}

}  // namespace

BOOL CPrinter::GetPrinterInfo(HANDLE printer, DWORD level, HeapArray<BYTE>& info, bool quiet, size_t* size) {
    constexpr int kAttempts = 5;  // the information may grow between being asked for its size and being read
    info.reset();
    if (!printer) return KV_FAIL(Settings, "no printer");
    DWORD needed = 0;
    if (GetPrinterW(printer, level, nullptr, 0, &needed) || GetLastError() != ERROR_INSUFFICIENT_BUFFER) {
        return fail(quiet);
    }
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        if (size) *size = needed;
        if (!info.alloc(needed, quiet ? kQuietly : TEXT("CPrinter::GetPrinterInfo"))) return FALSE;
        if (GetPrinterW(printer, level, info.get(), needed, &needed)) return TRUE;
        const KeepLastError keep;
        info.reset();
        if (keep.error() != ERROR_INSUFFICIENT_BUFFER) return fail(quiet);
    }
    return KV_FAIL(Settings, "the information of level %u grew %d times", static_cast<unsigned>(level), kAttempts);
}

BOOL GetPrinterDevMode(HANDLE printer, DWORD level, HeapArray<BYTE>& mode, bool quiet) {
    mode.reset();
    if (level != 2 && level != 8 && level != 9) return FALSE;
    HeapArray<BYTE> info;
    size_t info_size = 0;
    if (!CPrinter::GetPrinterInfo(printer, level, info, quiet, &info_size)) return FALSE;
    const std::span<const BYTE> source = devmode_bytes({info.get(), info_size}, level);
    KV_TRACE(Settings, Info, "device mode of level %u: %u bytes", static_cast<unsigned>(level),
             static_cast<unsigned>(source.size()));
    if (source.empty() || !mode.alloc(source.size(), quiet ? kQuietly : kAllocMem)) return FALSE;
    KV_ASSERT(source.data() >= info.get() && source.data() + source.size() <= info.get() + info_size);
    std::memcpy(mode.get(), source.data(), source.size());
    return TRUE;
}

}  // namespace kv
