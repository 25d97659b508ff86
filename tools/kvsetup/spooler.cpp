#include "tools/kvsetup/spooler.h"

#include <filesystem>
#include <memory>
#include <stdexcept>

#include "platform/windows/system_library.h"
#include "tools/kvsetup/system_error.h"

// Not declared by the compiler's headers, or in System32 alone.
extern "C" HRESULT WINAPI InstallPrinterDriverFromPackageW(LPCWSTR server, LPCWSTR inf, LPCWSTR driver,
                                                           LPCWSTR environment, DWORD flags);
extern "C" HRESULT WINAPI DeletePrinterDriverPackageW(LPCWSTR server, LPCWSTR inf, LPCWSTR environment);

#define KV_SPOOLER TEXT("winspool.drv")
KV_SYSTEM_FUNCTION(KV_SPOOLER, HRESULT, UploadPrinterDriverPackageW,
                   (LPCWSTR server, LPCWSTR inf, LPCWSTR environment, DWORD flags, HWND window, LPWSTR stored,
                    PULONG size),
                   (server, inf, environment, flags, window, stored, size))
KV_SYSTEM_FUNCTION(KV_SPOOLER, HRESULT, InstallPrinterDriverFromPackageW,
                   (LPCWSTR server, LPCWSTR inf, LPCWSTR driver, LPCWSTR environment, DWORD flags),
                   (server, inf, driver, environment, flags))
KV_SYSTEM_FUNCTION(KV_SPOOLER, HRESULT, DeletePrinterDriverPackageW, (LPCWSTR server, LPCWSTR inf, LPCWSTR environment),
                   (server, inf, environment))
KV_SYSTEM_FUNCTION(KV_SPOOLER, BOOL, AddPrinterDriverExW, (LPWSTR server, DWORD level, PBYTE info, DWORD flags),
                   (server, level, info, flags))
KV_SYSTEM_FUNCTION(KV_SPOOLER, BOOL, DeletePrinterDriverExW,
                   (LPWSTR server, LPWSTR environment, LPWSTR driver, DWORD flags, DWORD version),
                   (server, environment, driver, flags, version))
KV_SYSTEM_FUNCTION(KV_SPOOLER, BOOL, EnumPrinterDriversW,
                   (LPWSTR server, LPWSTR environment, DWORD level, LPBYTE data, DWORD size, LPDWORD needed,
                    LPDWORD count),
                   (server, environment, level, data, size, needed, count))
KV_SYSTEM_FUNCTION(KV_SPOOLER, BOOL, EnumPrintersW,
                   (DWORD flags, LPWSTR name, DWORD level, LPBYTE data, DWORD size, LPDWORD needed, LPDWORD count),
                   (flags, name, level, data, size, needed, count))
KV_SYSTEM_FUNCTION(KV_SPOOLER, BOOL, EnumPortsW,
                   (LPWSTR server, DWORD level, LPBYTE data, DWORD size, LPDWORD needed, LPDWORD count),
                   (server, level, data, size, needed, count))
KV_SYSTEM_FUNCTION(KV_SPOOLER, BOOL, OpenPrinterW, (LPWSTR name, LPHANDLE printer, LPPRINTER_DEFAULTSW defaults),
                   (name, printer, defaults))
KV_SYSTEM_FUNCTION(KV_SPOOLER, BOOL, ClosePrinter, (HANDLE printer), (printer))
KV_SYSTEM_FUNCTION(KV_SPOOLER, HANDLE, AddPrinterW, (LPWSTR server, DWORD level, LPBYTE info), (server, level, info))
KV_SYSTEM_FUNCTION(KV_SPOOLER, BOOL, SetPrinterW, (HANDLE printer, DWORD level, LPBYTE info, DWORD command),
                   (printer, level, info, command))
KV_SYSTEM_FUNCTION(KV_SPOOLER, BOOL, DeletePrinter, (HANDLE printer), (printer))
KV_SYSTEM_FUNCTION(KV_SPOOLER, BOOL, XcvDataW,
                   (HANDLE xcv, LPCWSTR name, PBYTE in, DWORD in_size, PBYTE out, DWORD out_size, PDWORD needed,
                    PDWORD status),
                   (xcv, name, in, in_size, out, out_size, needed, status))

namespace kvsetup {
namespace {

namespace fs = std::filesystem;

constexpr const WCHAR* kInf = TEXT("karvo.inf");
constexpr const WCHAR *kDriverFile = TEXT("kvgraph12.dll"), *kConfigFile = TEXT("kvui12.dll"),
                      *kDataFile = TEXT("kvres1232.dll"), *kDispatcherFile = TEXT("kvdisp12.exe");
constexpr const WCHAR* kFiles[] = {kDriverFile, kConfigFile, kDataFile, kDispatcherFile};
constexpr Environment kEnvironments[] = {{TEXT("Windows x64"), TEXT("amd64")}, {TEXT("Windows NT x86"), TEXT("i386")}};

// The spooler's functions take texts as writable.
WCHAR* writable(const Text& text) { return const_cast<WCHAR*>(text.c_str()); }
WCHAR* writable(const WCHAR* text) { return const_cast<WCHAR*>(text); }

struct PrinterCloser {
    void operator()(void* printer) const { ClosePrinter(printer); }
};
using Printer = std::unique_ptr<void, PrinterCloser>;

Printer open_printer(const Text& name, ACCESS_MASK access) {
    PRINTER_DEFAULTSW defaults = {nullptr, nullptr, access};
    HANDLE printer = nullptr;
    return Printer(OpenPrinterW(writable(name), &printer, &defaults) ? printer : nullptr);
}

// A list of the spooler's: asked for its size, then for its entries, which live as long as the block.
template <class Entry>
struct List {
    std::vector<BYTE> block;
    DWORD count = 0;
    const Entry* begin() const { return reinterpret_cast<const Entry*>(block.data()); }
    const Entry* end() const { return begin() + count; }
};
template <class Entry, class Call>
List<Entry> list_of(const char* what, Call call) {
    List<Entry> list;
    DWORD needed = 0;
    while (!call(list.block.data(), static_cast<DWORD>(list.block.size()), &needed, &list.count)) {
        if (GetLastError() != ERROR_INSUFFICIENT_BUFFER) throw system_error(what, GetLastError());
        list.block.resize(needed);
    }
    return list;
}

// What a machine without a driver store says, as opposed to one that refuses the package.
bool has_no_store(HRESULT result) {
    return result == E_NOTIMPL || result == HRESULT_FROM_WIN32(ERROR_CALL_NOT_IMPLEMENTED) ||
           result == HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND) ||
           (result == S_OK && GetLastError() == ERROR_PROC_NOT_FOUND);
}

bool install_from_store(const Text& package, const Environment& environment) {
    constexpr DWORD kSilently = 1, kAlways = 2;  // UPDP_SILENT_UPLOAD, UPDP_UPLOAD_ALWAYS
    const Text inf = package + L"\\" + kInf;
    WCHAR stored[MAX_PATH] = {};
    ULONG size = MAX_PATH;
    SetLastError(0);
    HRESULT result = UploadPrinterDriverPackageW(nullptr, inf.c_str(), environment.name, kSilently | kAlways, nullptr,
                                                 stored, &size);
    if (has_no_store(result)) return false;
    if (FAILED(result))
        throw system_error("the package is not taken into the driver store", static_cast<DWORD>(result));
    SetLastError(0);
    result = InstallPrinterDriverFromPackageW(nullptr, stored, kDriverName, environment.name, 0);
    if (has_no_store(result)) return false;
    if (FAILED(result)) throw system_error("the driver is not installed", static_cast<DWORD>(result));
    return true;
}

fs::path driver_directory(const Environment& environment) {
    WCHAR folder[MAX_PATH] = {};
    DWORD needed = 0;
    if (!GetPrinterDriverDirectoryW(nullptr, writable(environment.name), 1, reinterpret_cast<BYTE*>(folder),
                                    sizeof folder, &needed)) {
        throw system_error("no folder of printer drivers", GetLastError());
    }
    return folder;
}

void install_by_copying(const Text& package, const Environment& environment) {
    const fs::path folder = driver_directory(environment), source = fs::path(package) / environment.folder;
    fs::create_directories(folder);
    std::vector<Text> paths;
    for (const WCHAR* file : kFiles) {
        const fs::path target = folder / file;
        paths.push_back(target.wstring());
        if (!CopyFileW((source / file).c_str(), target.c_str(), FALSE)) {
            throw system_error("a file of the driver is not copied", GetLastError());
        }
    }
    paths[3].push_back(L'\0');  // a list of texts ends with an empty one
    DRIVER_INFO_3W info = {};
    info.cVersion = 3;
    info.pName = writable(kDriverName);
    info.pEnvironment = writable(environment.name);
    info.pDriverPath = writable(paths[0]);
    info.pConfigFile = writable(paths[1]);
    info.pDataFile = writable(paths[2]);
    info.pDependentFiles = writable(paths[3]);
    info.pDefaultDataType = writable(L"RAW");
    if (!AddPrinterDriverExW(nullptr, 3, reinterpret_cast<BYTE*>(&info), APD_COPY_ALL_FILES)) {
        throw system_error("the driver is not installed", GetLastError());
    }
}

// Wine's spooler refuses to be told what to do with files and versions.
bool delete_driver(const Environment& environment) {
    for (DWORD flags : {DPD_DELETE_UNUSED_FILES | DPD_DELETE_SPECIFIC_VERSION, 0}) {
        if (DeletePrinterDriverExW(nullptr, writable(environment.name), writable(kDriverName), flags, flags ? 3 : 0)) {
            return true;
        }
        if (GetLastError() != ERROR_INVALID_PARAMETER) return false;
    }
    return false;
}

bool port_exists(const Text& port) {
    for (const PORT_INFO_1W& entry : list_of<PORT_INFO_1W>(
             "ports are not listed", [](auto... arguments) { return EnumPortsW(nullptr, 1, arguments...); })) {
        if (lstrcmpiW(entry.pName, port.c_str()) == 0) return true;
    }
    return false;
}

// "AddPort" and "DeletePort" of the system's local monitor.
void change_ports(const WCHAR* command, const Text& port) {
    const Printer monitor = open_printer(L",XcvMonitor Local Port", SERVER_ACCESS_ADMINISTER);
    DWORD needed = 0, status = 0;
    if (!monitor) throw system_error("the monitor of local ports does not answer", GetLastError());
    if (!XcvDataW(monitor.get(), command, reinterpret_cast<BYTE*>(writable(port)),
                  static_cast<DWORD>((port.size() + 1) * sizeof(WCHAR)), nullptr, 0, &needed, &status)) {
        status = GetLastError();
    }
    if (status != ERROR_SUCCESS) throw system_error("the port is not changed", status);
}

}  // namespace

std::vector<Environment> environments_of(const Text& package) {
    SYSTEM_INFO system = {};
    GetNativeSystemInfo(&system);
    std::vector<Environment> found;
    for (const Environment& environment : kEnvironments) {
        const bool is_wide = environment.folder == kEnvironments[0].folder;
        if (is_wide && system.wProcessorArchitecture != PROCESSOR_ARCHITECTURE_AMD64) continue;
        if (fs::exists(fs::path(package) / environment.folder / kDriverFile)) found.push_back(environment);
    }
    if (found.empty()) throw std::runtime_error("the package has no driver for this machine");
    return found;
}

void install_driver(const Text& package, const Environment& environment) {
    if (!install_from_store(package, environment)) install_by_copying(package, environment);
}

void add_port(const Text& port) {
    if (!port_exists(port)) change_ports(L"AddPort", port);
}

void add_printer(const Text& printer, const Text& port) {
    PRINTER_INFO_2W info = {};
    info.pPrinterName = writable(printer);
    info.pPortName = writable(port);
    info.pDriverName = writable(kDriverName);
    info.pPrintProcessor = writable(L"winprint");
    info.pDatatype = writable(L"RAW");
    if (const Printer added{AddPrinterW(nullptr, 2, reinterpret_cast<BYTE*>(&info))}) return;
    if (GetLastError() != ERROR_PRINTER_ALREADY_EXISTS) throw system_error("the printer is not added", GetLastError());
    const Printer there = open_printer(printer, PRINTER_ALL_ACCESS);
    std::vector<BYTE> block;
    DWORD needed = 0;
    while (there && !GetPrinterW(there.get(), 2, block.data(), static_cast<DWORD>(block.size()), &needed) &&
           GetLastError() == ERROR_INSUFFICIENT_BUFFER) {
        block.resize(needed);
    }
    if (!there || block.size() < sizeof info) throw system_error("the printer cannot be changed", GetLastError());
    auto& present = *reinterpret_cast<PRINTER_INFO_2W*>(block.data());
    present.pPortName = info.pPortName;
    present.pDriverName = info.pDriverName;
    present.pSecurityDescriptor = nullptr;
    if (!SetPrinterW(there.get(), 2, block.data(), 0)) throw system_error("the printer is not changed", GetLastError());
}

std::vector<Text> remove_printers() {
    std::vector<Text> removed;
    const auto printers = list_of<PRINTER_INFO_2W>("printers are not listed", [](auto... arguments) {
        return EnumPrintersW(PRINTER_ENUM_LOCAL, nullptr, 2, arguments...);
    });
    for (const PRINTER_INFO_2W& entry : printers) {
        if (!entry.pDriverName || lstrcmpiW(entry.pDriverName, kDriverName) != 0) continue;
        const Printer printer = open_printer(entry.pPrinterName, PRINTER_ALL_ACCESS);
        if (printer) SetPrinterW(printer.get(), 0, nullptr, PRINTER_CONTROL_PURGE);
        if (!printer || !DeletePrinter(printer.get())) throw system_error("a printer is not removed", GetLastError());
        removed.emplace_back(entry.pPrinterName);
    }
    return removed;
}

void remove_driver(std::vector<std::string>& warnings) {
    for (const Environment& environment : kEnvironments) {
        const auto drivers = list_of<DRIVER_INFO_8W>("drivers are not listed", [&](auto... arguments) {
            return EnumPrinterDriversW(nullptr, writable(environment.name), 8, arguments...);
        });
        for (const DRIVER_INFO_8W& driver : drivers) {
            if (lstrcmpiW(driver.pName, kDriverName) != 0) continue;
            if (delete_driver(environment)) {
                // Where the spooler leaves them; those that a process holds go with its next start.
                for (const WCHAR* file : kFiles) {
                    DeleteFileW((driver_directory(environment) / "3" / file).c_str());
                    DeleteFileW((driver_directory(environment) / file).c_str());
                }
            } else if (GetLastError() == ERROR_PRINTER_DRIVER_IN_USE) {
                warnings.emplace_back("the driver is in use: remove it after a restart of the spooler");
            } else {
                throw system_error("the driver is not removed", GetLastError());
            }
            // Out of the driver store, with the last of the environments that the package serves.
            if (driver.pszInfPath && *driver.pszInfPath) {
                DeletePrinterDriverPackageW(nullptr, driver.pszInfPath, environment.name);
            }
        }
    }
}

void remove_port(const Text& port) {
    if (port_exists(port)) change_ports(L"DeletePort", port);
}

}  // namespace kvsetup
