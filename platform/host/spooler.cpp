// Printers and their jobs: information in one packed buffer, strings behind the structure.

#include "platform/host/win32/spooler.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/host/state.h"

namespace kv::host {
namespace {

struct OpenPrinter : Object {
    Printer printer;
};

// Lays out a structure and what it points at in the caller's buffer; a buffer that is too small is only measured.
class Packer {
public:
    Packer(LPBYTE buffer, DWORD capacity, size_t head)
        : buffer_(buffer), capacity_(buffer ? capacity : 0), used_(head) {
        if (fits()) std::memset(buffer_, 0, head);
    }

    void text(LPWSTR& field, const std::u16string& value) {
        field = reinterpret_cast<LPWSTR>(add(value.c_str(), (value.size() + 1) * 2));
    }
    void devmode(DEVMODEW*& field, const std::vector<uint8_t>& value) {
        if (!value.empty()) field = reinterpret_cast<DEVMODEW*>(add(value.data(), value.size()));
    }
    BOOL finish(LPDWORD needed) const {
        if (needed) *needed = static_cast<DWORD>(used_);
        return fits() ? TRUE : fail_with(ERROR_INSUFFICIENT_BUFFER);
    }
    bool fits() const { return used_ <= capacity_; }

private:
    BYTE* add(const void* data, size_t size) {
        size_t at = (used_ + 7) & ~size_t{7};
        used_ = at + size;
        if (!fits()) return nullptr;
        std::memcpy(buffer_ + at, data, size);
        return buffer_ + at;
    }

    LPBYTE buffer_;
    size_t capacity_, used_;
};

BOOL fail_to_write(Printer& target, int error) {
    if (target.write_error.empty()) target.write_error = std::strerror(error);
    return fail_with(ERROR_DISK_FULL);
}

// 0 or errno.
int write_all(int descriptor, const uint8_t* data, size_t size) {
    while (size > 0) {
        const ssize_t written = write(descriptor, data, size);
        if (written < 0 && errno != EINTR) return errno;
        if (written > 0) {
            data += written;
            size -= static_cast<size_t>(written);
        }
    }
    return 0;
}

}  // namespace

HANDLE open_printer(Printer printer) {
    auto object = std::make_unique<OpenPrinter>();
    object->printer = std::move(printer);
    return make_handle(std::move(object));
}
Printer& printer(HANDLE handle) { return object_of<OpenPrinter>(handle)->printer; }
void close_printer(HANDLE handle) { CloseHandle(handle); }
void reset_printers() {}

}  // namespace kv::host

using namespace kv::host;

BOOL GetPrinterW(HANDLE handle, DWORD level, LPBYTE buffer, DWORD capacity, LPDWORD needed) {
    if (should_fail(CallKind::Spooler, "GetPrinterW")) return fail_with(ERROR_ACCESS_DENIED);
    auto* object = object_of<OpenPrinter>(handle);
    if (!object) return fail_with(ERROR_INVALID_HANDLE);
    const Printer& source = object->printer;
    if (level == 2) {
        Packer packer(buffer, capacity, sizeof(PRINTER_INFO_2W));
        PRINTER_INFO_2W info = {};
        packer.text(info.pPrinterName, source.name);
        packer.text(info.pPortName, source.port);
        packer.devmode(info.pDevMode, source.devmode2);
        if (packer.fits()) std::memcpy(buffer, &info, sizeof info);
        return packer.finish(needed);
    }
    if (level == 5) {
        Packer packer(buffer, capacity, sizeof(PRINTER_INFO_5W));
        PRINTER_INFO_5W info = {};
        packer.text(info.pPrinterName, source.name);
        packer.text(info.pPortName, source.port);
        if (packer.fits()) std::memcpy(buffer, &info, sizeof info);
        return packer.finish(needed);
    }
    if (level == 8 || level == 9) {
        Packer packer(buffer, capacity, sizeof(PRINTER_INFO_8W));
        PRINTER_INFO_8W info = {};
        packer.devmode(info.pDevMode, level == 8 ? source.devmode8 : source.devmode9);
        if (packer.fits()) std::memcpy(buffer, &info, sizeof info);
        return packer.finish(needed);
    }
    return fail_with(ERROR_INVALID_LEVEL);
}

BOOL GetJobW(HANDLE handle, DWORD job, DWORD level, LPBYTE buffer, DWORD capacity, LPDWORD needed) {
    if (should_fail(CallKind::Spooler, "GetJobW")) return fail_with(ERROR_ACCESS_DENIED);
    auto* object = object_of<OpenPrinter>(handle);
    if (!object) return fail_with(ERROR_INVALID_HANDLE);
    auto found = object->printer.jobs.find(job);
    if (found == object->printer.jobs.end()) return fail_with(ERROR_INVALID_PARAMETER);
    if (level != 2) return fail_with(ERROR_INVALID_LEVEL);
    Packer packer(buffer, capacity, sizeof(JOB_INFO_2W));
    JOB_INFO_2W info = {};
    info.JobId = job;
    packer.text(info.pPrinterName, object->printer.name);
    packer.text(info.pDocument, found->second);
    if (packer.fits()) std::memcpy(buffer, &info, sizeof info);
    return packer.finish(needed);
}

BOOL WritePrinter(HANDLE handle, LPVOID data, DWORD bytes, LPDWORD written) {
    if (written) *written = 0;
    auto* object = object_of<OpenPrinter>(handle);
    if (!object) return fail_with(ERROR_INVALID_HANDLE);
    Printer& target = object->printer;
    if (should_fail(CallKind::Spooler, "WritePrinter")) return fail_to_write(target, ENOSPC);
    auto* source = static_cast<const uint8_t*>(data);
    if (target.output_descriptor < 0) {
        target.output.insert(target.output.end(), source, source + bytes);
    } else if (const int error = write_all(target.output_descriptor, source, bytes); error != 0) {
        return fail_to_write(target, error);
    }
    target.write_sizes.push_back(bytes);
    if (written) *written = bytes;
    return TRUE;
}

BOOL GetPrinterDriverDirectoryW(LPWSTR, LPWSTR environment, DWORD level, LPBYTE buffer, DWORD capacity,
                                LPDWORD needed) {
    if (should_fail(CallKind::Spooler, "GetPrinterDriverDirectoryW")) return fail_with(ERROR_ACCESS_DENIED);
    if (level != 1) return fail_with(ERROR_INVALID_LEVEL);
    std::u16string name = environment ? environment : u"Windows x64";
    std::u16string folder = u"C:\\Windows\\System32\\spool\\drivers\\";
    folder += name == u"Windows NT x86" ? u"W32X86" : name == u"Windows ARM64" ? u"ARM64" : u"x64";
    auto bytes = static_cast<DWORD>((folder.size() + 1) * 2);
    *needed = bytes;
    if (capacity < bytes) return fail_with(ERROR_INSUFFICIENT_BUFFER);
    std::memcpy(buffer, folder.c_str(), bytes);
    return TRUE;
}
