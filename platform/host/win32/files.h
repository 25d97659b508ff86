#pragma once
// Files, folders, temporary files and known folders. A path is a Win32 path; platform/host maps its
// drive letter into the host's file system (control.h).

#include "platform/host/win32/types.h"

enum : DWORD {
    GENERIC_READ = 0x80000000,
    GENERIC_WRITE = 0x40000000,
    FILE_SHARE_READ = 1,
    FILE_SHARE_WRITE = 2,
    FILE_SHARE_DELETE = 4,
    CREATE_NEW = 1,
    CREATE_ALWAYS = 2,
    OPEN_EXISTING = 3,
    OPEN_ALWAYS = 4,
    TRUNCATE_EXISTING = 5,
    FILE_ATTRIBUTE_READONLY = 1,
    FILE_ATTRIBUTE_DIRECTORY = 0x10,
    FILE_ATTRIBUTE_NORMAL = 0x80,
    INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF,
    INVALID_FILE_SIZE = 0xFFFFFFFF,
    INVALID_SET_FILE_POINTER = 0xFFFFFFFF,
    FILE_BEGIN = 0,
    FILE_CURRENT = 1,
    FILE_END = 2,
    MOVEFILE_REPLACE_EXISTING = 1,
    MOVEFILE_COPY_ALLOWED = 2,
    MOVEFILE_DELAY_UNTIL_REBOOT = 4,
};

HANDLE CreateFileW(LPCWSTR path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security, DWORD disposition,
                   DWORD flags, HANDLE pattern);
BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD bytes, LPDWORD read, void* overlapped);
BOOL WriteFile(HANDLE file, LPCVOID buffer, DWORD bytes, LPDWORD written, void* overlapped);
DWORD SetFilePointer(HANDLE file, LONG distance, LONG* distance_high, DWORD method);
BOOL SetEndOfFile(HANDLE file);
DWORD GetFileSize(HANDLE file, LPDWORD size_high);
BOOL FlushFileBuffers(HANDLE file);
BOOL CloseHandle(HANDLE object);

BOOL DeleteFileW(LPCWSTR path);
BOOL MoveFileW(LPCWSTR from, LPCWSTR to);
// A null `to` with MOVEFILE_DELAY_UNTIL_REBOOT schedules the deletion.
BOOL MoveFileExW(LPCWSTR from, LPCWSTR to, DWORD flags);
BOOL CopyFileW(LPCWSTR from, LPCWSTR to, BOOL fail_if_exists);
DWORD GetFileAttributesW(LPCWSTR path);
BOOL SetFileAttributesW(LPCWSTR path, DWORD attributes);
BOOL CreateDirectoryW(LPCWSTR path, SECURITY_ATTRIBUTES* security);

DWORD GetTempPathW(DWORD capacity, LPWSTR path);
UINT GetTempFileNameW(LPCWSTR folder, LPCWSTR prefix, UINT unique, LPWSTR path);
DWORD GetLongPathNameW(LPCWSTR short_path, LPWSTR long_path, DWORD capacity);

enum : int { CSIDL_FONTS = 0x14 };
HRESULT SHGetFolderPathW(HWND owner, int folder, HANDLE token, DWORD flags, LPWSTR path);
// SHGetKnownFolderPath is looked up in shell32 with GetProcAddress; its result is freed with CoTaskMemFree.
void CoTaskMemFree(LPVOID block);
