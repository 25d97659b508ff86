#pragma once
// Win32 base types, error codes and calling conventions on the host. LONG and DWORD are 32-bit and
// WCHAR is a 16-bit unit, whatever the host's own long and wchar_t are.

#include <cstddef>
#include <cstdint>

using BOOL = int32_t;
using BYTE = uint8_t;
using UCHAR = uint8_t;
using CHAR = char;
using SHORT = int16_t;
using USHORT = uint16_t;
using WORD = uint16_t;
using ATOM = WORD;
using INT = int32_t;
using UINT = uint32_t;
using LONG = int32_t;
using ULONG = uint32_t;
using DWORD = uint32_t;
using LONGLONG = int64_t;
using ULONGLONG = uint64_t;
using WCHAR = char16_t;
using FLOAT = float;
using ULONG_PTR = uintptr_t;
using LONG_PTR = intptr_t;
using DWORD_PTR = uintptr_t;
using SIZE_T = size_t;
using WPARAM = uintptr_t;
using LPARAM = intptr_t;
using HRESULT = int32_t;
using LANGID = WORD;
using LCID = DWORD;
using COLORREF = DWORD;

using PVOID = void*;
using LPVOID = void*;
using LPCVOID = const void*;
using LPSTR = char*;
using LPCSTR = const char*;
using LPWSTR = WCHAR*;
using LPCWSTR = const WCHAR*;
using PWSTR = WCHAR*;
using PCWSTR = const WCHAR*;
using LPBYTE = BYTE*;
using LPDWORD = DWORD*;
using PDWORD = DWORD*;
using LPBOOL = BOOL*;

using HANDLE = void*;
using HLOCAL = void*;
using HGLOBAL = void*;
using FARPROC = void (*)();

// Handles of different kinds are different types, as under STRICT.
#define KV_DECLARE_HANDLE(name) using name = struct name##__*
KV_DECLARE_HANDLE(HINSTANCE);
KV_DECLARE_HANDLE(HKEY);
KV_DECLARE_HANDLE(HWINSTA);
KV_DECLARE_HANDLE(HWND);
KV_DECLARE_HANDLE(HRSRC);
KV_DECLARE_HANDLE(HPALETTE);
KV_DECLARE_HANDLE(HBITMAP);
KV_DECLARE_HANDLE(HFONT);
KV_DECLARE_HANDLE(HDC);
KV_DECLARE_HANDLE(HCURSOR);
#undef KV_DECLARE_HANDLE
using HMODULE = HINSTANCE;
using HGDIOBJ = void*;

#define TEXT(text) u##text
#define TRUE 1
#define FALSE 0
#define WINAPI
#define APIENTRY
#define CALLBACK
#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-1)))
#define MAX_PATH 260
#define INFINITE 0xFFFFFFFFu

#define LOWORD(value) (static_cast<WORD>(static_cast<DWORD_PTR>(value) & 0xFFFF))
#define HIWORD(value) (static_cast<WORD>((static_cast<DWORD_PTR>(value) >> 16) & 0xFFFF))
#define LOBYTE(value) (static_cast<BYTE>(static_cast<DWORD_PTR>(value) & 0xFF))
#define MAKEINTRESOURCEW(number) (reinterpret_cast<LPWSTR>(static_cast<ULONG_PTR>(number)))

struct POINT {
    LONG x, y;
};
using POINTL = POINT;
struct SIZE {
    LONG cx, cy;
};
using SIZEL = SIZE;
struct RECT {
    LONG left, top, right, bottom;
};
using RECTL = RECT;

struct FILETIME {
    DWORD dwLowDateTime, dwHighDateTime;
};
struct SYSTEMTIME {
    WORD wYear, wMonth, wDayOfWeek, wDay, wHour, wMinute, wSecond, wMilliseconds;
};
union LARGE_INTEGER {
    struct {
        DWORD LowPart;
        LONG HighPart;
    } u;
    alignas(8) LONGLONG QuadPart;  // also where the host's ABI of 32 bits aligns it to 4
};
struct GUID {
    DWORD Data1;
    WORD Data2, Data3;
    BYTE Data4[8];
};
struct SECURITY_ATTRIBUTES {
    DWORD nLength;
    LPVOID lpSecurityDescriptor;
    BOOL bInheritHandle;
};

enum : DWORD {
    ERROR_SUCCESS = 0,
    ERROR_FILE_NOT_FOUND = 2,
    ERROR_PATH_NOT_FOUND = 3,
    ERROR_TOO_MANY_OPEN_FILES = 4,
    ERROR_ACCESS_DENIED = 5,
    ERROR_INVALID_HANDLE = 6,
    ERROR_NOT_ENOUGH_MEMORY = 8,
    ERROR_INVALID_DATA = 13,
    ERROR_OUTOFMEMORY = 14,
    ERROR_WRITE_FAULT = 29,
    ERROR_READ_FAULT = 30,
    ERROR_GEN_FAILURE = 31,
    ERROR_SHARING_VIOLATION = 32,
    ERROR_HANDLE_EOF = 38,
    ERROR_NOT_SUPPORTED = 50,
    ERROR_FILE_EXISTS = 80,
    ERROR_INVALID_PARAMETER = 87,
    ERROR_BROKEN_PIPE = 109,
    ERROR_DISK_FULL = 112,
    ERROR_BAD_DRIVER_LEVEL = 119,
    ERROR_SEM_TIMEOUT = 121,
    ERROR_INSUFFICIENT_BUFFER = 122,
    ERROR_INVALID_NAME = 123,
    ERROR_INVALID_LEVEL = 124,
    ERROR_MOD_NOT_FOUND = 126,
    ERROR_PROC_NOT_FOUND = 127,
    ERROR_NEGATIVE_SEEK = 131,
    ERROR_DIR_NOT_EMPTY = 145,
    ERROR_ALREADY_EXISTS = 183,
    ERROR_FILE_TOO_LARGE = 223,
    ERROR_BAD_PIPE = 230,
    ERROR_PIPE_BUSY = 231,
    ERROR_NO_DATA = 232,
    ERROR_PIPE_NOT_CONNECTED = 233,
    ERROR_MORE_DATA = 234,
    WAIT_TIMEOUT = 258,
    ERROR_NOT_OWNER = 288,
    ERROR_NO_MORE_ITEMS = 259,
    ERROR_PIPE_CONNECTED = 535,
    ERROR_IO_PENDING = 997,
    ERROR_NO_TOKEN = 1008,
    ERROR_KEY_DELETED = 1018,
    ERROR_RESOURCE_DATA_NOT_FOUND = 1812,
    ERROR_RESOURCE_TYPE_NOT_FOUND = 1813,
    ERROR_RESOURCE_NAME_NOT_FOUND = 1814,
    ERROR_INVALID_PRINTER_NAME = 1801,
};

DWORD GetLastError();
void SetLastError(DWORD error);
