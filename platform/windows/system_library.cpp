#include "platform/windows/system_library.h"

namespace kv {

FARPROC find_system_function(const WCHAR* library, const char* name) {
    WCHAR path[MAX_PATH + 32];
    const UINT length = GetSystemDirectoryW(path, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) return nullptr;
    path[length] = '\\';
    lstrcpynW(path + length + 1, library, 31);
    HMODULE module = LoadLibraryExW(path, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    // A system without that flag: what the library itself imports is looked for beside it first.
    if (!module && GetLastError() == ERROR_INVALID_PARAMETER) {
        module = LoadLibraryExW(path, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    }
    return module ? GetProcAddress(module, name) : nullptr;
}

}  // namespace kv

#define KV_VERSION TEXT("version.dll")
KV_SYSTEM_FUNCTION(KV_VERSION, DWORD, GetFileVersionInfoSizeW, (LPCWSTR file, LPDWORD handle), (file, handle))
KV_SYSTEM_FUNCTION(KV_VERSION, BOOL, GetFileVersionInfoW, (LPCWSTR file, DWORD handle, DWORD size, LPVOID data),
                   (file, handle, size, data))
KV_SYSTEM_FUNCTION(KV_VERSION, BOOL, VerQueryValueW, (LPCVOID block, LPCWSTR path, LPVOID* value, PUINT size),
                   (block, path, value, size))

#define KV_SESSIONS TEXT("wtsapi32.dll")
KV_SYSTEM_FUNCTION(KV_SESSIONS, BOOL, WTSQuerySessionInformationW,
                   (HANDLE server, DWORD session, WTS_INFO_CLASS kind, LPWSTR* data, DWORD* size),
                   (server, session, kind, data, size))
KV_SYSTEM_FUNCTION(KV_SESSIONS, BOOL, WTSEnumerateSessionsW,
                   (HANDLE server, DWORD reserved, DWORD version, PWTS_SESSION_INFOW* sessions, DWORD* count),
                   (server, reserved, version, sessions, count))
KV_SYSTEM_FUNCTION(KV_SESSIONS, void, WTSFreeMemory, (PVOID memory), (memory))

#define KV_SPOOLER TEXT("winspool.drv")
KV_SYSTEM_FUNCTION(KV_SPOOLER, BOOL, GetPrinterW,
                   (HANDLE printer, DWORD level, LPBYTE data, DWORD size, LPDWORD needed),
                   (printer, level, data, size, needed))
KV_SYSTEM_FUNCTION(KV_SPOOLER, BOOL, GetJobW,
                   (HANDLE printer, DWORD job, DWORD level, LPBYTE data, DWORD size, LPDWORD needed),
                   (printer, job, level, data, size, needed))
KV_SYSTEM_FUNCTION(KV_SPOOLER, BOOL, WritePrinter, (HANDLE printer, LPVOID data, DWORD size, LPDWORD written),
                   (printer, data, size, written))
KV_SYSTEM_FUNCTION(KV_SPOOLER, BOOL, GetPrinterDriverDirectoryW,
                   (LPWSTR server, LPWSTR environment, DWORD level, LPBYTE data, DWORD size, LPDWORD needed),
                   (server, environment, level, data, size, needed))
