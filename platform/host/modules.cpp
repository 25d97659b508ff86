// Modules and their resources: the driver's own, and those that tests register.

#include <algorithm>
#include <cstring>
#include <deque>

#include "platform/host/state.h"
#include "platform/host/win32/files.h"
#include "platform/host/win32/system.h"

namespace kv::host {
namespace {

struct Loaded {
    Module module;
    int references = 0;
};

struct Modules {
    std::deque<Loaded> all;  // addresses are the handles, and stay
};
Modules& modules() {
    static Modules state;
    return state;
}

HMODULE handle_of(Loaded& entry) { return reinterpret_cast<HMODULE>(&entry); }

Loaded* find(HMODULE handle) {
    for (Loaded& entry : modules().all) {
        if (handle_of(entry) == handle) return &entry;
    }
    return nullptr;
}

std::u16string file_name(const std::u16string& path) { return path.substr(path.find_last_of(u'\\') + 1); }

Loaded* find_by_name(const std::u16string& wanted) {
    bool has_folder = wanted.find(u'\\') != std::u16string::npos;
    for (Loaded& entry : modules().all) {
        const std::u16string& path = entry.module.path;
        if (lower_case(has_folder ? path : file_name(path)) == lower_case(wanted)) return &entry;
    }
    return nullptr;
}

HRESULT WINAPI known_folder_path(const GUID* folder, DWORD, HANDLE, WCHAR** path) {
    constexpr DWORD kLocalAppDataLow = 0xA520A1A4;
    constexpr HRESULT kNotFound = static_cast<HRESULT>(0x80070002);
    *path = nullptr;
    if (folder->Data1 != kLocalAppDataLow || !machine().has_local_app_data_low) return kNotFound;
    const std::u16string text = u"C:\\Users\\user\\AppData\\LocalLow";
    auto* copy = static_cast<WCHAR*>(std::malloc((text.size() + 1) * sizeof(WCHAR)));
    std::copy_n(text.c_str(), text.size() + 1, copy);
    ++counters().local_blocks;
    *path = copy;
    return 0;
}

Module driver() {
    Module module;
    module.path = machine().driver;
#define KV_STRING(number, text) module.strings[number] = u"" text;
#include "resources/strings.inc"
#undef KV_STRING
    return module;
}

Module shell() {
    Module module;
    module.path = u"C:\\Windows\\System32\\shell32.dll";
    module.functions["SHGetKnownFolderPath"] = reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&known_folder_path));
    return module;
}

}  // namespace

void reset_modules() {
    modules().all.clear();
    register_module(driver());
    register_module(shell());
}

HMODULE register_module(Module module) {
    modules().all.push_back({std::move(module), 0});
    return handle_of(modules().all.back());
}

void copy_module(const std::u16string& from, const std::u16string& to) {
    const Loaded* entry = find_by_name(from);
    if (!entry) return;
    Module copy = entry->module;
    copy.path = to;
    register_module(std::move(copy));
}

HMODULE driver_module() {
    if (modules().all.empty()) reset_modules();
    return handle_of(modules().all.front());
}

Module& module_of(HMODULE handle) { return find(handle)->module; }
Module& driver_resources() { return find(driver_module())->module; }

}  // namespace kv::host

using namespace kv::host;

DWORD GetModuleFileNameW(HMODULE handle, LPWSTR path, DWORD capacity) {
    if (should_fail(CallKind::Process, "GetModuleFileNameW")) return fail_with(ERROR_INVALID_HANDLE, DWORD{0});
    Loaded* entry = find(handle);
    if (handle && !entry) return fail_with(ERROR_MOD_NOT_FOUND, DWORD{0});
    const std::u16string& text = entry ? entry->module.path : machine().executable;
    if (capacity == 0) return 0;
    auto length = std::min<DWORD>(static_cast<DWORD>(text.size()), capacity - 1);
    std::copy_n(text.c_str(), length, path);
    path[length] = 0;
    return text.size() >= capacity ? fail_with(ERROR_INSUFFICIENT_BUFFER, capacity) : length;
}

HMODULE GetModuleHandleW(LPCWSTR name) {
    Loaded* entry = find_by_name(name);
    return entry ? handle_of(*entry) : fail_with<HMODULE>(ERROR_MOD_NOT_FOUND, nullptr);
}

HMODULE LoadLibraryW(LPCWSTR path) { return LoadLibraryExW(path, nullptr, 0); }

HMODULE LoadLibraryExW(LPCWSTR path, HANDLE, DWORD flags) {
    Loaded* entry = find_by_name(path);
    if (!entry || should_fail(CallKind::Process, "LoadLibraryExW"))
        return fail_with<HMODULE>(ERROR_MOD_NOT_FOUND, nullptr);
    const bool is_vista = machine().major >= 6;
    if ((flags & LOAD_LIBRARY_AS_IMAGE_RESOURCE) && !is_vista)
        return fail_with<HMODULE>(ERROR_INVALID_PARAMETER, nullptr);
    ++entry->references;
    if (!(flags & LOAD_LIBRARY_AS_DATAFILE)) entry->module.run_as_code = true;
    return handle_of(*entry);
}

BOOL FreeLibrary(HMODULE handle) {
    Loaded* entry = find(handle);
    if (!entry || entry->references == 0) return fail_with(ERROR_INVALID_HANDLE);
    --entry->references;
    return TRUE;
}

FARPROC GetProcAddress(HMODULE handle, LPCSTR name) {
    Loaded* entry = find(handle);
    if (!entry) return fail_with<FARPROC>(ERROR_INVALID_HANDLE, nullptr);
    auto number = reinterpret_cast<uintptr_t>(name);
    std::string key = number <= 0xFFFF ? "#" + std::to_string(number) : name;
    auto found = entry->module.functions.find(key);
    return found == entry->module.functions.end() ? fail_with<FARPROC>(ERROR_PROC_NOT_FOUND, nullptr) : found->second;
}

BOOL DisableThreadLibraryCalls(HMODULE) { return TRUE; }

int LoadStringW(HINSTANCE handle, UINT number, LPWSTR buffer, int capacity) {
    Loaded* entry = find(handle);
    if (!entry || should_fail(CallKind::Process, "LoadStringW")) return fail_with(ERROR_RESOURCE_NAME_NOT_FOUND);
    auto found = entry->module.strings.find(number);
    if (found == entry->module.strings.end() || capacity < 1) return fail_with(ERROR_RESOURCE_NAME_NOT_FOUND);
    size_t length = std::min(found->second.size(), static_cast<size_t>(capacity - 1));
    std::copy_n(found->second.c_str(), length, buffer);
    buffer[length] = 0;
    return static_cast<int>(length);
}

HRSRC FindResourceW(HMODULE handle, LPCWSTR name, LPCWSTR type) {
    Loaded* entry = find(handle);
    auto number = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(name));
    if (!entry || type != RT_RCDATA || !entry->module.data.count(number)) {
        return fail_with<HRSRC>(ERROR_RESOURCE_NAME_NOT_FOUND, nullptr);
    }
    return reinterpret_cast<HRSRC>(&entry->module.data[number]);
}

namespace {
std::vector<uint8_t>* resource_data(void* resource) { return static_cast<std::vector<uint8_t>*>(resource); }
}  // namespace

HGLOBAL LoadResource(HMODULE, HRSRC resource) { return resource; }
LPVOID LockResource(HGLOBAL resource) { return resource ? resource_data(resource)->data() : nullptr; }
DWORD SizeofResource(HMODULE, HRSRC resource) {
    return resource ? static_cast<DWORD>(resource_data(resource)->size()) : 0;
}

BOOL EnumResourceNamesW(HMODULE handle, LPCWSTR type, ENUMRESNAMEPROCW callback, LONG_PTR context) {
    Loaded* entry = find(handle);
    if (!entry || type != RT_STRING || entry->module.strings.empty()) return fail_with(ERROR_RESOURCE_TYPE_NOT_FOUND);
    uint32_t last = 0;
    for (const auto& [number, text] : entry->module.strings) {
        uint32_t block = number / 16 + 1;  // strings are kept in tables of 16
        if (block != last && !callback(handle, type, MAKEINTRESOURCEW(block), context)) break;
        last = block;
    }
    return TRUE;
}

BOOL EnumResourceLanguagesW(HMODULE handle, LPCWSTR type, LPCWSTR name, ENUMRESLANGPROCW callback, LONG_PTR context) {
    Loaded* entry = find(handle);
    if (!entry || type != RT_STRING) return fail_with(ERROR_RESOURCE_NAME_NOT_FOUND);
    callback(handle, type, name, entry->module.language, context);
    return TRUE;
}

DWORD GetFileVersionInfoSizeW(LPCWSTR path, LPDWORD handle) {
    if (handle) *handle = 0;
    if (!find_by_name(path)) return fail_with(ERROR_FILE_NOT_FOUND, DWORD{0});
    return sizeof(VS_FIXEDFILEINFO);
}

BOOL GetFileVersionInfoW(LPCWSTR path, DWORD, DWORD size, LPVOID data) {
    Loaded* entry = find_by_name(path);
    if (!entry || size < sizeof(VS_FIXEDFILEINFO)) return fail_with(ERROR_INSUFFICIENT_BUFFER);
    VS_FIXEDFILEINFO info = {};
    info.dwSignature = 0xFEEF04BD;
    info.dwFileVersionMS = entry->module.version_high;
    info.dwFileVersionLS = entry->module.version_low;
    std::memcpy(data, &info, sizeof info);
    return TRUE;
}

BOOL VerQueryValueW(LPCVOID data, LPCWSTR block, LPVOID* value, UINT* length) {
    if (std::u16string(block) != u"\\") return FALSE;
    *value = const_cast<LPVOID>(data);
    *length = sizeof(VS_FIXEDFILEINFO);
    return TRUE;
}
