#pragma once
// The registry: keys with case-insensitive names, typed values.

#include "platform/host/win32/types.h"

using LSTATUS = LONG;
using REGSAM = DWORD;

#define HKEY_CLASSES_ROOT (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(0x80000000u)))
#define HKEY_CURRENT_USER (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(0x80000001u)))
#define HKEY_LOCAL_MACHINE (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(0x80000002u)))
#define HKEY_USERS (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(0x80000003u)))

enum : DWORD {
    REG_NONE = 0,
    REG_SZ = 1,
    REG_EXPAND_SZ = 2,
    REG_BINARY = 3,
    REG_DWORD = 4,
    KEY_READ = 0x20019,
    KEY_WRITE = 0x20006,
    KEY_WOW64_64KEY = 0x100,
    KEY_WOW64_32KEY = 0x200,
    WRITE_DAC = 0x40000,
};

LSTATUS RegOpenKeyExW(HKEY root, LPCWSTR subkey, DWORD options, REGSAM access, HKEY* key);
LSTATUS RegCreateKeyExW(HKEY root, LPCWSTR subkey, DWORD reserved, LPWSTR key_class, DWORD options, REGSAM access,
                        SECURITY_ATTRIBUTES* security, HKEY* key, LPDWORD disposition);
LSTATUS RegCloseKey(HKEY key);
LSTATUS RegQueryInfoKeyW(HKEY key, LPWSTR key_class, LPDWORD class_length, LPDWORD reserved, LPDWORD subkeys,
                         LPDWORD longest_subkey, LPDWORD longest_class, LPDWORD values, LPDWORD longest_value_name,
                         LPDWORD longest_data, LPDWORD security_length, FILETIME* last_write);
LSTATUS RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, LPDWORD name_length, LPDWORD reserved, LPWSTR key_class,
                      LPDWORD class_length, FILETIME* last_write);
LSTATUS RegEnumValueW(HKEY key, DWORD index, LPWSTR name, LPDWORD name_length, LPDWORD reserved, LPDWORD type,
                      LPBYTE data, LPDWORD data_size);
LSTATUS RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD data_size);
LSTATUS RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD data_size);
LSTATUS RegDeleteValueW(HKEY key, LPCWSTR name);
