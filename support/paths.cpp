#include "support/paths.h"

#include <cstring>

#include "support/assert.h"
#include "support/message.h"
#include "support/process_state.h"
#include "support/token.h"
#include "support/trace.h"

namespace kv {
namespace {

BOOL low_integrity_folder(PathText& folder) {
    static const GUID kLocalAppDataLow = {0xA520A1A4, 0x1780, 0x4FF6, {0xBD, 0x18, 0x16, 0x73, 0x43, 0xC5, 0xAF, 0x16}};
    using KnownFolderPath = HRESULT(WINAPI*)(const GUID*, DWORD, HANDLE, WCHAR**);
    HMODULE shell = LoadLibraryW(TEXT("shell32.dll"));
    if (!shell) return KV_FAIL(Support, "no shell32.dll");
    auto known_folder =
        reinterpret_cast<KnownFolderPath>(reinterpret_cast<void*>(GetProcAddress(shell, "SHGetKnownFolderPath")));
    WCHAR* known = nullptr;
    BOOL found = known_folder && known_folder(&kLocalAppDataLow, 0, nullptr, &known) >= 0 && known;
    if (found) folder.assign(known);
    if (known) CoTaskMemFree(known);
    FreeLibrary(shell);
    const auto& product = process_state().product_name;
    if (!found || product.empty()) return found;
    PathText parent(folder.c_str());
    JoinPath(parent.c_str(), product.c_str(), folder);
    return CreateFolder(folder.c_str());
}

}  // namespace

BOOL GetModuleFileName(HMODULE module, PathText& path) {
    DWORD capacity = static_cast<DWORD>(path.capacity());
    DWORD length = GetModuleFileNameW(module, path.data(), capacity);
    path.truncate(length < capacity ? length : capacity - 1);
    return length > 0;
}

void GetModuleBaseName(HMODULE module, PathText& name) {
    PathText path;
    GetModuleFileName(module, path);
    name.assign(GetFileNamePart(path.c_str()));
    name.truncate(static_cast<size_t>(FindExtension(name.c_str()) - name.c_str()));
}

void GetFolder(const WCHAR* path, PathText& folder) {
    const WCHAR* last = find_last(path, WCHAR{'\\'});
    size_t length = last ? static_cast<size_t>(last - path) : 0;
    folder.assign(path);
    folder.truncate(length);
}

const WCHAR* GetFileNamePart(const WCHAR* path) {
    const WCHAR* last = find_last(path, WCHAR{'\\'});
    return last ? last + 1 : path;
}

const WCHAR* FindExtension(const WCHAR* path) {
    const WCHAR* dot = find_last(path, WCHAR{'.'});
    KV_ASSERT(!dot || (dot >= path && *dot == '.'));
    return dot && !find_last(dot, WCHAR{'\\'}) ? dot : path + text_length(path);
}

void JoinPath(const WCHAR* folder, const WCHAR* name, PathText& path) {
    KV_ASSERT(path.c_str() != folder && path.c_str() != name);
    if (find_last(name, WCHAR{':'}) || starts_with(name, TEXT("\\\\"))) {
        path.assign(name);
        return;
    }
    path.assign(folder);
    size_t length = path.length();
    if (length == 0 || path.c_str()[length - 1] != '\\') path.append(TEXT("\\"));
    path.append(name);
}

bool FileExists(const WCHAR* path) {
    DWORD attributes = GetFileAttributesW(path);
    return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

BOOL CreateFolder(const WCHAR* path, SECURITY_ATTRIBUTES* security, bool report) {
    if (CreateDirectoryW(path, security) || GetLastError() == ERROR_ALREADY_EXISTS) return TRUE;
    const BOOL failed = KV_FAIL(Support, "not made: %s", TraceText(path).c_str());
    if (report) report_message(kMessageFolder, path);
    return failed;
}

BOOL create_folders_of(const WCHAR* file) {
    // From the top down; folders that exist, drives among them, are passed over.
    PathText folder;
    for (const WCHAR* at = file; *at; ++at) {
        if (*at != '\\' || at == file) continue;
        folder.assign(file);
        folder.truncate(static_cast<size_t>(at - file));
        if (GetFileAttributesW(folder.c_str()) == INVALID_FILE_ATTRIBUTES) CreateFolder(folder.c_str());
    }
    DWORD attributes = GetFileAttributesW(folder.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

BOOL GetTempFolder(PathText& folder) {
    DWORD level = token_integrity_level();
    if (level == kIntegrityUnknown || level == kIntegrityLow) {
        if (low_integrity_folder(folder)) return TRUE;
        KV_TRACE(Support, Warning, "integrity level %u without its folder: the system's temporary one serves",
                 static_cast<unsigned>(level));
    }
    PathText short_path;
    DWORD capacity = static_cast<DWORD>(folder.capacity());
    DWORD length = GetTempPathW(capacity, short_path.data());
    if (length == 0 || length >= capacity) return KV_FAIL(Support, "no temporary folder");
    length = GetLongPathNameW(short_path.c_str(), folder.data(), capacity);
    if (length == 0 || length >= capacity) folder.assign(short_path.c_str());
    KV_ASSERT(!folder.empty());
    return TRUE;
}

BOOL CreateTempFile(const WCHAR* folder, PathText& path) {
    PathText own;
    if (!folder) {
        if (!GetTempFolder(own)) return FALSE;
        folder = own.c_str();
    }
    if (GetTempFileNameW(folder, TEXT("~KV"), 0, path.data())) return TRUE;
    path.clear();
    return KV_FAIL(Support, "no temporary file in %s", TraceText(folder).c_str());
}

}  // namespace kv
