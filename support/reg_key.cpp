#include "support/reg_key.h"

#include <algorithm>
#include <cstring>

#include "support/assert.h"
#include "support/process_state.h"
#include "support/token.h"
#include "support/trace.h"

namespace kv {
namespace {

// What is not there is no failure: most of what is asked for is optional.
BOOL refused(const char* what, LSTATUS status, const WCHAR* name) {
    if (status != ERROR_FILE_NOT_FOUND && status != ERROR_PATH_NOT_FOUND) {
        KV_TRACE(Support, Error, "%s: status %d: %s", what, static_cast<int>(status), TraceText(name).c_str());
    }
    return FALSE;
}

REGSAM adjusted(REGSAM access) {
    constexpr REGSAM kViews = KEY_WOW64_64KEY | KEY_WOW64_32KEY;
    return process_state().processor == PROCESSOR_ARCHITECTURE_INTEL ? access & ~kViews : access;
}

// Makes room for at least count elements; what the array holds is lost.
template <class T>
BOOL make_room(HeapArray<T>& array, DWORD& room, DWORD count) {
    if (count <= room) return TRUE;
    KV_ASSERT(array || room == 0);
    room = array.alloc(count, kQuietly) ? count : 0;
    return room != 0;
}

}  // namespace

BOOL CRegKey::refresh() {
    DWORD subkey = 0, value = 0, data = 0;
    if (RegQueryInfoKeyW(key_, nullptr, nullptr, nullptr, &subkeys_, &subkey, nullptr, &values_, &value, &data, nullptr,
                         nullptr) != ERROR_SUCCESS) {
        return KV_FAIL(Support, "a key does not say what it holds");
    }
    longest_subkey_ = subkey * 2 + 1;
    longest_value_ = value * 2 + 1;
    longest_data_ = data * 2 + 2;
    return TRUE;
}

BOOL CRegKey::opened() {
    KV_ASSERT(key_);
    if (refresh()) return TRUE;
    Close();
    return FALSE;
}

BOOL CRegKey::Open(REGSAM access, HKEY root, const WCHAR* subkey) {
    Close();
    const LSTATUS status = RegOpenKeyExW(root, subkey, 0, adjusted(access), &key_);
    if (status == ERROR_SUCCESS) return opened();
    key_ = nullptr;
    return refused("key not opened", status, subkey);
}

BOOL CRegKey::Create(REGSAM access, HKEY root, const WCHAR* subkey) {
    Close();
    bool machine_wide = root == HKEY_LOCAL_MACHINE || root == HKEY_USERS;
    if (machine_wide && token_integrity_level() < kIntegrityHigh) {
        return refused("key of the machine", ERROR_ACCESS_DENIED, subkey);
    }
    const LSTATUS status = RegCreateKeyExW(root, subkey, 0, nullptr, 0, adjusted(access), nullptr, &key_, nullptr);
    if (status == ERROR_SUCCESS) return opened();
    key_ = nullptr;
    return refused("key not made", status, subkey);
}

void CRegKey::Close() {
    if (key_) RegCloseKey(key_);
    key_ = nullptr;
    subkeys_ = values_ = 0;
}

const WCHAR* CRegKey::EnumValueName(DWORD index) {
    if (!key_ || !make_room(value_name_, value_room_, longest_value_)) return nullptr;
    DWORD length = value_room_;
    if (RegEnumValueW(key_, index, value_name_.get(), &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
        return nullptr;
    }
    KV_ASSERT(length < value_room_);
    return value_name_.get();
}

const WCHAR* CRegKey::EnumSubkeyName(DWORD index) {
    if (!key_ || !make_room(subkey_name_, subkey_room_, longest_subkey_)) return nullptr;
    DWORD length = subkey_room_;
    if (RegEnumKeyExW(key_, index, subkey_name_.get(), &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
        return nullptr;
    }
    KV_ASSERT(length < subkey_room_);
    return subkey_name_.get();
}

// The registry does not promise a terminator.
LSTATUS CRegKey::query_text(const WCHAR* name, WCHAR* target, DWORD capacity) {
    DWORD type = 0, size = capacity;
    const LSTATUS status = RegQueryValueExW(key_, name, nullptr, &type, reinterpret_cast<BYTE*>(target), &size);
    if (status != ERROR_SUCCESS) return status;
    target[std::min(size, capacity - 1) / sizeof(WCHAR)] = 0;
    if (type == REG_SZ || type == REG_EXPAND_SZ) return ERROR_SUCCESS;
    KV_TRACE(Support, Warning, "no text but type %u: %s", static_cast<unsigned>(type), TraceText(name).c_str());
    return ERROR_INVALID_DATA;
}

const WCHAR* CRegKey::ReadString(const WCHAR* name) {
    if (!key_ || !make_room(data_, data_room_, longest_data_)) return nullptr;
    auto* text = reinterpret_cast<WCHAR*>(data_.get());
    LSTATUS status = query_text(name, text, data_room_);
    if (status == ERROR_MORE_DATA && refresh() && make_room(data_, data_room_, longest_data_)) {
        text = reinterpret_cast<WCHAR*>(data_.get());
        status = query_text(name, text, data_room_);
    }
    return status == ERROR_SUCCESS ? text : nullptr;
}

BOOL CRegKey::read_path(const WCHAR* name, PathText& path) {
    if (key_ && query_text(name, path.data(), sizeof path) == ERROR_SUCCESS) return TRUE;
    path.clear();
    return FALSE;
}

BOOL CRegKey::read_raw(const WCHAR* name, void* data, DWORD capacity, DWORD* size) {
    *size = capacity;
    return key_ && RegQueryValueExW(key_, name, nullptr, nullptr, static_cast<BYTE*>(data), size) == ERROR_SUCCESS;
}

DWORD CRegKey::ReadDword(const WCHAR* name, DWORD fallback) {
    DWORD type = 0, value = 0, size = sizeof value;
    if (!key_ ||
        RegQueryValueExW(key_, name, nullptr, &type, reinterpret_cast<BYTE*>(&value), &size) != ERROR_SUCCESS) {
        return fallback;
    }
    return type == REG_DWORD && size == sizeof value ? value : fallback;
}

BOOL CRegKey::write(const WCHAR* name, DWORD type, const void* data, DWORD size) {
    if (!key_) return refused("no key", ERROR_INVALID_HANDLE, name);
    const LSTATUS status = RegSetValueExW(key_, name, 0, type, static_cast<const BYTE*>(data), size);
    if (status != ERROR_SUCCESS) return refused("value not written", status, name);
    refresh();
    return TRUE;
}

BOOL CRegKey::WriteDword(const WCHAR* name, DWORD value) { return write(name, REG_DWORD, &value, sizeof value); }

BOOL CRegKey::write_string(const WCHAR* name, const WCHAR* text) {
    return write(name, REG_SZ, text, static_cast<DWORD>((text_length(text) + 1) * sizeof(WCHAR)));
}

BOOL CRegKey::DeleteValue(const WCHAR* name) {
    if (!key_) return refused("no key", ERROR_INVALID_HANDLE, name);
    const LSTATUS status = RegDeleteValueW(key_, name);
    if (status != ERROR_SUCCESS) return refused("value not deleted", status, name);
    refresh();
    return TRUE;
}

BOOL CRegKey::ValueExists(const WCHAR* name) {
    return key_ && RegQueryValueExW(key_, name, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
}

BOOL open_product_key(CRegKey& key, HKEY root) { return key.Open(kProductKeyRead, root, kProductKeyPath); }
BOOL create_product_key(CRegKey& key, HKEY root) { return key.Create(kProductKeyCreate, root, kProductKeyPath); }

void GetPrinterSettingsKeyPath(const WCHAR* printer, TextBuffer<512>& path) {
    path.assign(kProductKeyPath);
    path.append(TEXT("\\KarvoPrinters"));
    if (!printer || !*printer) return;
    path.append(TEXT("\\"));
    size_t start = path.length();
    path.append(printer);
    std::replace(path.data() + start, path.data() + path.length(), WCHAR{'\\'}, WCHAR{','});
}

REGSAM printer_key_access(HKEY root, REGSAM access) {
    constexpr bool kWide = sizeof(void*) > 4;
    return kWide && root == HKEY_LOCAL_MACHINE ? access | KEY_WOW64_32KEY : access;
}

BOOL open_printer_key(CRegKey& key, HKEY root, const WCHAR* printer) {
    TextBuffer<512> path;
    GetPrinterSettingsKeyPath(printer, path);
    return key.Open(printer_key_access(root, kPrinterKeyRead), root, path.c_str());
}

BOOL create_printer_key(CRegKey& key, HKEY root, const WCHAR* printer) {
    TextBuffer<512> path;
    GetPrinterSettingsKeyPath(printer, path);
    return key.Create(printer_key_access(root, kPrinterKeyCreate), root, path.c_str());
}

}  // namespace kv
