#pragma once
// Modules, resources, version, locale, code pages and message boxes.

#include "platform/host/win32/types.h"

enum : DWORD {
    DLL_PROCESS_DETACH = 0,
    DLL_PROCESS_ATTACH = 1,
    VER_NT_WORKSTATION = 1,
    VER_NT_DOMAIN_CONTROLLER = 2,
    VER_NT_SERVER = 3,
    VER_PRODUCT_TYPE = 0x80,
    VER_EQUAL = 1,
    VER_PLATFORM_WIN32_NT = 2,
    PROCESSOR_ARCHITECTURE_INTEL = 0,
    PROCESSOR_ARCHITECTURE_AMD64 = 9,
    PROCESSOR_ARCHITECTURE_ARM64 = 12,
    LOCALE_USER_DEFAULT = 0x0400,
    LOCALE_IDEFAULTLANGUAGE = 0x09,
    LOCALE_SENGLANGUAGE = 0x1001,
    LOCALE_IPAPERSIZE = 0x100A,
    CP_ACP = 0,
    CP_UTF8 = 65001,
    WC_NO_BEST_FIT_CHARS = 0x400,
    MB_ERR_INVALID_CHARS = 8,
    MB_OK = 0,
    MB_ICONERROR = 0x10,
    MB_ICONINFORMATION = 0x40,
    MB_SETFOREGROUND = 0x10000,
    UOI_FLAGS = 1,
    WSF_VISIBLE = 1,
    LOAD_LIBRARY_AS_DATAFILE = 2,
    LOAD_LIBRARY_AS_IMAGE_RESOURCE = 0x20,
    LOCALE_INVARIANT = 0x7F,
    LCMAP_UPPERCASE = 0x200,
    FORMAT_MESSAGE_IGNORE_INSERTS = 0x200,
    FORMAT_MESSAGE_FROM_SYSTEM = 0x1000,
    SM_DBCSENABLED = 42,
    SM_REMOTESESSION = 0x1000,
};
#define RT_STRING MAKEINTRESOURCEW(6)
#define RT_RCDATA MAKEINTRESOURCEW(10)
#define IDC_ARROW MAKEINTRESOURCEW(32512)

// Modules. On the host a "DLL" is what control.h registers under its name; the driver itself is one.
DWORD GetModuleFileNameW(HMODULE module, LPWSTR path, DWORD capacity);
HMODULE GetModuleHandleW(LPCWSTR name);
HMODULE LoadLibraryW(LPCWSTR path);
// As data no entry point runs.
HMODULE LoadLibraryExW(LPCWSTR path, HANDLE reserved, DWORD flags);
BOOL FreeLibrary(HMODULE module);
FARPROC GetProcAddress(HMODULE module, LPCSTR name);
BOOL DisableThreadLibraryCalls(HMODULE module);

// Resources. LoadStringW with capacity 0 is not used.
int LoadStringW(HINSTANCE module, UINT number, LPWSTR buffer, int capacity);
HRSRC FindResourceW(HMODULE module, LPCWSTR name, LPCWSTR type);
HGLOBAL LoadResource(HMODULE module, HRSRC resource);
LPVOID LockResource(HGLOBAL resource);
DWORD SizeofResource(HMODULE module, HRSRC resource);
using ENUMRESNAMEPROCW = BOOL(CALLBACK*)(HMODULE module, LPCWSTR type, LPWSTR name, LONG_PTR context);
using ENUMRESLANGPROCW = BOOL(CALLBACK*)(HMODULE module, LPCWSTR type, LPCWSTR name, WORD language, LONG_PTR context);
BOOL EnumResourceNamesW(HMODULE module, LPCWSTR type, ENUMRESNAMEPROCW callback, LONG_PTR context);
BOOL EnumResourceLanguagesW(HMODULE module, LPCWSTR type, LPCWSTR name, ENUMRESLANGPROCW callback, LONG_PTR context);

struct VS_FIXEDFILEINFO {
    DWORD dwSignature, dwStrucVersion, dwFileVersionMS, dwFileVersionLS, dwProductVersionMS, dwProductVersionLS;
    DWORD dwFileFlagsMask, dwFileFlags, dwFileOS, dwFileType, dwFileSubtype, dwFileDateMS, dwFileDateLS;
};
DWORD GetFileVersionInfoSizeW(LPCWSTR path, LPDWORD handle);
BOOL GetFileVersionInfoW(LPCWSTR path, DWORD handle, DWORD size, LPVOID data);
BOOL VerQueryValueW(LPCVOID data, LPCWSTR block, LPVOID* value, UINT* length);

// Version and processor.
struct OSVERSIONINFOW {
    DWORD dwOSVersionInfoSize, dwMajorVersion, dwMinorVersion, dwBuildNumber, dwPlatformId;
    WCHAR szCSDVersion[128];
};
struct OSVERSIONINFOEXW {
    DWORD dwOSVersionInfoSize, dwMajorVersion, dwMinorVersion, dwBuildNumber, dwPlatformId;
    WCHAR szCSDVersion[128];
    WORD wServicePackMajor, wServicePackMinor, wSuiteMask;
    BYTE wProductType, wReserved;
};
struct SYSTEM_INFO {
    WORD wProcessorArchitecture, wReserved;
    DWORD dwPageSize;
    LPVOID lpMinimumApplicationAddress, lpMaximumApplicationAddress;
    DWORD_PTR dwActiveProcessorMask;
    DWORD dwNumberOfProcessors, dwProcessorType, dwAllocationGranularity;
    WORD wProcessorLevel, wProcessorRevision;
};
BOOL GetVersionExW(OSVERSIONINFOW* version);
BOOL VerifyVersionInfoW(OSVERSIONINFOEXW* version, DWORD mask, ULONGLONG conditions);
ULONGLONG VerSetConditionMask(ULONGLONG conditions, DWORD type, BYTE condition);
void GetNativeSystemInfo(SYSTEM_INFO* info);
int GetSystemMetrics(int index);

// Locale and code pages.
int GetLocaleInfoW(LCID locale, DWORD kind, LPWSTR data, int capacity);
LANGID GetUserDefaultLangID();
UINT GetACP();
BOOL IsDBCSLeadByteEx(UINT code_page, BYTE byte);
// Known code pages on the host: CP_ACP, UTF-8 and those that the C library's iconv converts.
int MultiByteToWideChar(UINT code_page, DWORD flags, LPCSTR source, int source_size, LPWSTR target, int capacity);
int WideCharToMultiByte(UINT code_page, DWORD flags, LPCWSTR source, int source_length, LPSTR target, int capacity,
                        LPCSTR default_char, LPBOOL used_default);

// Text.
int lstrlenW(LPCWSTR text);
DWORD CharLowerBuffW(LPWSTR text, DWORD length);
DWORD CharUpperBuffW(LPWSTR text, DWORD length);
// LCMAP_UPPERCASE only.
int LCMapStringW(LCID locale, DWORD flags, LPCWSTR source, int source_length, LPWSTR target, int capacity);

struct USEROBJECTFLAGS {
    BOOL fInherit, fReserved;
    DWORD dwFlags;
};
HWINSTA GetProcessWindowStation();
// UOI_FLAGS only.
BOOL GetUserObjectInformationW(HANDLE object, int kind, LPVOID data, DWORD capacity, LPDWORD needed);

// Messages to the user: the host writes them to standard error and keeps them for the tests.
int MessageBoxW(HWND owner, LPCWSTR text, LPCWSTR caption, UINT flags);
DWORD FormatMessageW(DWORD flags, LPCVOID source, DWORD message, DWORD language, LPWSTR buffer, DWORD capacity,
                     void* arguments);
HCURSOR LoadCursorW(HINSTANCE module, LPCWSTR name);
HCURSOR SetCursor(HCURSOR cursor);
UINT RegisterClipboardFormatW(LPCWSTR name);
BOOL SetProcessDefaultLayout(DWORD layout);
