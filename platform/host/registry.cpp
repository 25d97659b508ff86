// The registry, in memory, loaded from and saved to a text file on demand.

#include "platform/host/win32/registry.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>

#include "platform/host/state.h"
#include "platform/host/win32/system.h"

namespace kv::host {
namespace {

struct Value {
    std::u16string name;
    DWORD type;
    std::vector<uint8_t> data;
};

struct Key {
    std::u16string name;
    std::vector<std::unique_ptr<Key>> subkeys;  // sorted by name, as the system enumerates them
    std::vector<Value> values;                  // in order of first writing
};

struct OpenKey : Object {
    Key* key = nullptr;
    REGSAM access = 0;
};

struct Registry {
    std::mutex lock;
    std::map<uintptr_t, Key> roots;
    std::map<uintptr_t, std::unique_ptr<OpenKey>> open;
    uintptr_t next = 0x1000;
};
Registry& registry() {
    static Registry state;
    return state;
}

constexpr struct {
    uintptr_t handle;
    const char* name;
} kRoots[] = {{0x80000000u, "HKEY_CLASSES_ROOT"},
              {0x80000001u, "HKEY_CURRENT_USER"},
              {0x80000002u, "HKEY_LOCAL_MACHINE"},
              {0x80000003u, "HKEY_USERS"}};

struct Located {
    Key* key;
    REGSAM access;
};

Located locate(HKEY handle) {
    auto number = reinterpret_cast<uintptr_t>(handle);
    if (number >= 0x80000000u && number <= 0x80000003u) return {&registry().roots[number], 0xF003F};
    auto found = registry().open.find(number);
    return found == registry().open.end() ? Located{nullptr, 0} : Located{found->second->key, found->second->access};
}

Key* child(Key& parent, const std::u16string& name, bool create) {
    std::u16string wanted = lower_case(name);
    auto at =
        std::lower_bound(parent.subkeys.begin(), parent.subkeys.end(), wanted,
                         [](const auto& key, const std::u16string& text) { return lower_case(key->name) < text; });
    if (at != parent.subkeys.end() && lower_case((*at)->name) == wanted) return at->get();
    if (!create) return nullptr;
    auto key = std::make_unique<Key>();
    key->name = name;
    return parent.subkeys.insert(at, std::move(key))->get();
}

Key* walk(Key* key, const std::u16string& path, bool create) {
    size_t start = 0;
    while (key && start < path.size()) {
        size_t end = std::min(path.find(u'\\', start), path.size());
        if (end > start) key = child(*key, path.substr(start, end - start), create);
        start = end + 1;
    }
    return key;
}

Value* find_value(Key& key, LPCWSTR name) {
    std::u16string wanted = lower_case(name ? name : u"");
    for (Value& value : key.values) {
        if (lower_case(value.name) == wanted) return &value;
    }
    return nullptr;
}

LSTATUS open_key(Key* key, REGSAM access, HKEY* out) {
    auto object = std::make_unique<OpenKey>();
    object->key = key;
    object->access = access;
    uintptr_t number = registry().next += 4;
    registry().open.emplace(number, std::move(object));
    ++counters().keys;
    *out = reinterpret_cast<HKEY>(number);
    return ERROR_SUCCESS;
}

LSTATUS copy_name(const std::u16string& name, LPWSTR target, LPDWORD length) {
    if (*length <= name.size()) return ERROR_MORE_DATA;
    std::copy(name.begin(), name.end(), target);
    target[name.size()] = 0;
    *length = static_cast<DWORD>(name.size());
    return ERROR_SUCCESS;
}

LSTATUS copy_data(const Value& value, LPDWORD type, LPBYTE data, LPDWORD size) {
    auto needed = static_cast<DWORD>(value.data.size());
    if (type) *type = value.type;
    if (!size) return data ? ERROR_INVALID_PARAMETER : ERROR_SUCCESS;
    DWORD capacity = *size;
    *size = needed;
    if (!data) return ERROR_SUCCESS;
    if (capacity < needed) return ERROR_MORE_DATA;
    if (needed) std::memcpy(data, value.data.data(), needed);
    return ERROR_SUCCESS;
}

void store(Key& key, LPCWSTR name, DWORD type, const BYTE* data, DWORD size) {
    Value* value = find_value(key, name);
    if (!value) value = &key.values.emplace_back(Value{name ? name : u"", 0, {}});
    value->type = type;
    value->data.assign(data, data + size);
}

constexpr REGSAM kQueryValue = 1, kSetValue = 2, kEnumerate = 8;

}  // namespace

void reset_registry() {
    std::lock_guard guard(registry().lock);
    registry().roots.clear();
    counters().keys -= registry().open.size();
    registry().open.clear();
}

void set_registry_string(HKEY root, const std::u16string& path, const std::u16string& name,
                         const std::u16string& text) {
    std::lock_guard guard(registry().lock);
    store(*walk(locate(root).key, path, true), name.c_str(), REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
          static_cast<DWORD>((text.size() + 1) * 2));
}

void set_registry_dword(HKEY root, const std::u16string& path, const std::u16string& name, uint32_t value) {
    std::lock_guard guard(registry().lock);
    store(*walk(locate(root).key, path, true), name.c_str(), REG_DWORD, reinterpret_cast<const BYTE*>(&value), 4);
}

bool registry_key_exists(HKEY root, const std::u16string& path) {
    std::lock_guard guard(registry().lock);
    return walk(locate(root).key, path, false) != nullptr;
}

bool registry_value_exists(HKEY root, const std::u16string& path, const std::u16string& name) {
    std::lock_guard guard(registry().lock);
    Key* key = walk(locate(root).key, path, false);
    return key && find_value(*key, name.c_str());
}

// The file ------------------------------------------------------------------------------------------

namespace {

std::string quoted(const std::u16string& text) {
    std::string out = "\"";
    for (char byte : to_utf8(text)) {
        if (byte == '"' || byte == '\\') out += '\\';
        out += byte;
    }
    return out + '"';
}

// Reads a quoted text at `at` and moves behind it.
bool unquote(const std::string& line, size_t& at, std::u16string& text) {
    if (at >= line.size() || line[at] != '"') return false;
    std::string bytes;
    for (++at; at < line.size() && line[at] != '"'; ++at) {
        if (line[at] == '\\' && at + 1 < line.size()) ++at;
        bytes += line[at];
    }
    if (at >= line.size()) return false;
    ++at;
    text = from_utf8(bytes);
    return true;
}

void save_key(std::ostream& out, const std::string& path, const Key& key) {
    if (!key.values.empty() || key.subkeys.empty()) out << '[' << path << "]\n";
    for (const Value& value : key.values) {
        out << quoted(value.name) << '=';
        size_t size = value.data.size();
        bool text =
            value.type == REG_SZ && size >= 2 && size % 2 == 0 && !value.data[size - 1] && !value.data[size - 2];
        char digits[16];
        if (value.type == REG_DWORD && size == 4) {
            uint32_t number;
            std::memcpy(&number, value.data.data(), 4);
            snprintf(digits, sizeof digits, "dword:%08x", number);
            out << digits;
        } else if (text) {
            std::u16string units(size / 2 - 1, 0);
            std::memcpy(units.data(), value.data.data(), size - 2);
            out << quoted(units);
        } else {
            snprintf(digits, sizeof digits, "hex(%x):", value.type);
            out << digits;
            for (uint8_t byte : value.data) {
                snprintf(digits, sizeof digits, "%02x", byte);
                out << digits;
            }
        }
        out << '\n';
    }
    for (const auto& subkey : key.subkeys) save_key(out, path + '\\' + to_utf8(subkey->name), *subkey);
}

bool load_value(Key& key, const std::string& line) {
    size_t at = 0;
    std::u16string name, text;
    if (!unquote(line, at, name) || at >= line.size() || line[at++] != '=') return false;
    if (line[at] == '"') {
        if (!unquote(line, at, text)) return false;
        store(key, name.c_str(), REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
              static_cast<DWORD>((text.size() + 1) * 2));
        return at == line.size();
    }
    unsigned number = 0;
    int end = 0;
    if (sscanf(line.c_str() + at, "dword:%8x%n", &number, &end) == 1 && at + static_cast<size_t>(end) == line.size()) {
        store(key, name.c_str(), REG_DWORD, reinterpret_cast<const BYTE*>(&number), 4);
        return true;
    }
    if (sscanf(line.c_str() + at, "hex(%8x):%n", &number, &end) != 1 || end == 0) return false;
    std::vector<BYTE> data;
    for (at += static_cast<size_t>(end); at < line.size(); at += 2) {
        unsigned byte;
        if (at + 2 > line.size() || sscanf(line.c_str() + at, "%2x", &byte) != 1) return false;
        data.push_back(static_cast<BYTE>(byte));
    }
    store(key, name.c_str(), number, data.data(), static_cast<DWORD>(data.size()));
    return true;
}

Key* key_of_header(const std::string& line) {
    if (line.back() != ']') return nullptr;
    for (const auto& root : kRoots) {
        size_t length = std::strlen(root.name);
        if (line.compare(1, length, root.name) != 0) continue;
        std::string path = line.substr(1 + length, line.size() - length - 2);
        if (!path.empty() && path[0] != '\\') continue;
        return walk(&registry().roots[root.handle], from_utf8(path), true);
    }
    return nullptr;
}

}  // namespace

bool load_registry(const std::string& host_file, std::string& message) {
    std::ifstream in(host_file);
    if (!in) {
        message = host_file + ": cannot be read";
        return false;
    }
    std::lock_guard guard(registry().lock);
    Key* key = nullptr;
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        if (line.empty() || line[0] == ';') continue;
        bool good = line[0] == '[' ? (key = key_of_header(line)) != nullptr : key && load_value(*key, line);
        if (!good) {
            message = host_file + ":" + std::to_string(number) + ": not a registry key or value";
            return false;
        }
    }
    return true;
}

bool save_registry(const std::string& host_file, std::string& message) {
    std::ofstream out(host_file);
    std::lock_guard guard(registry().lock);
    for (const auto& root : kRoots) save_key(out, root.name, registry().roots[root.handle]);
    if (out.flush()) return true;
    message = host_file + ": cannot be written";
    return false;
}

}  // namespace kv::host

// The calls -----------------------------------------------------------------------------------------

using namespace kv::host;

namespace {

// What every call on an open key starts with.
struct Access {
    std::unique_lock<std::mutex> guard{registry().lock};
    Located at{};
    LSTATUS status = ERROR_SUCCESS;

    Access(HKEY handle, REGSAM needed, const char* function) {
        at = locate(handle);
        if (should_fail(CallKind::Registry, function)) {
            status = ERROR_NOT_ENOUGH_MEMORY;
        } else if (!at.key) {
            status = ERROR_INVALID_HANDLE;
        } else if ((at.access & needed) != needed) {
            status = ERROR_ACCESS_DENIED;
        }
    }
};

// The 32-bit view of a 64-bit machine keeps its software in a place of its own.
std::u16string viewed(HKEY root, LPCWSTR subkey, REGSAM access) {
    const std::u16string path = subkey ? subkey : u"", software = u"software", narrow = u"\\wow6432node";
    const bool has_views = machine().architecture != PROCESSOR_ARCHITECTURE_INTEL;
    if (!has_views || root != HKEY_LOCAL_MACHINE || !(access & KEY_WOW64_32KEY)) return path;
    const std::u16string lower = lower_case(path) + u'\\', rest = path.substr(std::min(path.size(), software.size()));
    if (!lower.starts_with(software + u'\\') || lower.starts_with(software + narrow + u'\\')) return path;
    return software + narrow + rest;
}

}  // namespace

LSTATUS RegOpenKeyExW(HKEY root, LPCWSTR subkey, DWORD, REGSAM access, HKEY* key) {
    Access call(root, 0, "RegOpenKeyExW");
    if (call.status != ERROR_SUCCESS) return call.status;
    Key* found = walk(call.at.key, viewed(root, subkey, access), false);
    return found ? open_key(found, access, key) : static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND);
}

LSTATUS RegCreateKeyExW(HKEY root, LPCWSTR subkey, DWORD, LPWSTR, DWORD, REGSAM access, SECURITY_ATTRIBUTES*, HKEY* key,
                        LPDWORD disposition) {
    Access call(root, 0, "RegCreateKeyExW");
    if (call.status != ERROR_SUCCESS) return call.status;
    const std::u16string path = viewed(root, subkey, access);
    bool existed = walk(call.at.key, path, false) != nullptr;
    if (disposition) *disposition = existed ? 2 : 1;
    return open_key(walk(call.at.key, path, true), access, key);
}

LSTATUS RegCloseKey(HKEY key) {
    std::lock_guard guard(registry().lock);
    if (!registry().open.erase(reinterpret_cast<uintptr_t>(key))) return ERROR_INVALID_HANDLE;
    --counters().keys;
    return ERROR_SUCCESS;
}

LSTATUS RegQueryInfoKeyW(HKEY key, LPWSTR, LPDWORD, LPDWORD, LPDWORD subkeys, LPDWORD longest_subkey, LPDWORD,
                         LPDWORD values, LPDWORD longest_value_name, LPDWORD longest_data, LPDWORD, FILETIME*) {
    Access call(key, kQueryValue, "RegQueryInfoKeyW");
    if (call.status != ERROR_SUCCESS) return call.status;
    size_t subkey_length = 0, name_length = 0, data_size = 0;
    for (const auto& subkey : call.at.key->subkeys) subkey_length = std::max(subkey_length, subkey->name.size());
    for (const Value& value : call.at.key->values) {
        name_length = std::max(name_length, value.name.size());
        data_size = std::max(data_size, value.data.size());
    }
    auto report = [](LPDWORD out, size_t number) {
        if (out) *out = static_cast<DWORD>(number);
    };
    report(subkeys, call.at.key->subkeys.size());
    report(longest_subkey, subkey_length);
    report(values, call.at.key->values.size());
    report(longest_value_name, name_length);
    report(longest_data, data_size);
    return ERROR_SUCCESS;
}

LSTATUS RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, LPDWORD name_length, LPDWORD, LPWSTR, LPDWORD, FILETIME*) {
    Access call(key, kEnumerate, "RegEnumKeyExW");
    if (call.status != ERROR_SUCCESS) return call.status;
    if (index >= call.at.key->subkeys.size()) return ERROR_NO_MORE_ITEMS;
    return copy_name(call.at.key->subkeys[index]->name, name, name_length);
}

LSTATUS RegEnumValueW(HKEY key, DWORD index, LPWSTR name, LPDWORD name_length, LPDWORD, LPDWORD type, LPBYTE data,
                      LPDWORD data_size) {
    Access call(key, kQueryValue, "RegEnumValueW");
    if (call.status != ERROR_SUCCESS) return call.status;
    if (index >= call.at.key->values.size()) return ERROR_NO_MORE_ITEMS;
    const Value& value = call.at.key->values[index];
    LSTATUS named = copy_name(value.name, name, name_length);
    return named == ERROR_SUCCESS ? copy_data(value, type, data, data_size) : named;
}

LSTATUS RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD, LPDWORD type, LPBYTE data, LPDWORD data_size) {
    Access call(key, kQueryValue, "RegQueryValueExW");
    if (call.status != ERROR_SUCCESS) return call.status;
    Value* value = find_value(*call.at.key, name);
    return value ? copy_data(*value, type, data, data_size) : static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND);
}

LSTATUS RegSetValueExW(HKEY key, LPCWSTR name, DWORD, DWORD type, const BYTE* data, DWORD data_size) {
    Access call(key, kSetValue, "RegSetValueExW");
    if (call.status == ERROR_SUCCESS) store(*call.at.key, name, type, data, data_size);
    return call.status;
}

LSTATUS RegDeleteValueW(HKEY key, LPCWSTR name) {
    Access call(key, kSetValue, "RegDeleteValueW");
    if (call.status != ERROR_SUCCESS) return call.status;
    Value* value = find_value(*call.at.key, name);
    if (!value) return ERROR_FILE_NOT_FOUND;
    call.at.key->values.erase(call.at.key->values.begin() + (value - call.at.key->values.data()));
    return ERROR_SUCCESS;
}
