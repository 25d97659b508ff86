// The resource library: localised texts that come with the product, in a DLL beside the driver. It is data: whoever
// names another one to the user's processes, or puts one into the place of a copy, has texts shown and no code run.

#include "support/assert.h"
#include "support/message.h"
#include "support/paths.h"
#include "support/process_state.h"
#include "support/product.h"
#include "support/reg_key.h"
#include "support/trace.h"

namespace kv {
namespace {

constexpr const WCHAR* kLibraryName = TEXT("kvres1232.dll");
constexpr UINT kProductNameString = 12149;

struct FileVersion {
    DWORD high, low;
    bool operator==(const FileVersion&) const = default;
};

FileVersion version_of(const WCHAR* path) {
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeW(path, &ignored);
    HeapArray<BYTE> block;
    LPVOID value = nullptr;
    UINT length = 0;
    if (!size || !block.alloc(size, kQuietly) || !GetFileVersionInfoW(path, 0, size, block.get()) ||
        !VerQueryValueW(block.get(), TEXT("\\"), &value, &length) || length < sizeof(VS_FIXEDFILEINFO)) {
        return {};
    }
    const auto* info = static_cast<const VS_FIXEDFILEINFO*>(value);
    return {info->dwFileVersionMS, info->dwFileVersionLS};
}

// A system before Windows Vista may refuse the second flag, which only says how the file is mapped.
HMODULE load_as_data(const PathText& path) {
    constexpr DWORD kFlags = LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE;
    HMODULE library = LoadLibraryExW(path.c_str(), nullptr, kFlags);
    if (library || GetLastError() != ERROR_INVALID_PARAMETER) return library;
    return LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
}

// Deleted when it is let go; at the next restart where that does not succeed and the user is an administrator.
PathText& private_copy() {
    static PathText path;
    return path;
}

// Another version of the product has its library there, and may replace it at any time: a copy stays as it is.
HMODULE load_private_copy(const PathText& library) {
    PathText& copy = private_copy();
    KV_ASSERT(copy.empty());
    if (!CreateTempFile(nullptr, copy)) return nullptr;
    HMODULE loaded = CopyFileW(library.c_str(), copy.c_str(), FALSE) ? load_as_data(copy) : nullptr;
    KV_TRACE(Driver, Info, "a copy of another version's library: %s", TraceText(copy.c_str()).c_str());
    if (loaded) {
        MoveFileExW(copy.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
    } else {
        DeleteFileW(copy.c_str());
        copy.clear();
    }
    return loaded;
}

// Null when there is no such library.
HMODULE load_library(const PathText& path, const PathText& driver) {
    HMODULE library = load_as_data(path);
    if (!library || version_of(path.c_str()) == version_of(driver.c_str())) return library;
    FreeLibrary(library);
    return load_private_copy(path);
}

// A library that the registry names for the user's language: value "ResourceLibrary" and the language in
// hexadecimal, of the user's or the machine's product key. A name without a folder is a file beside the driver.
HMODULE load_named_library(const PathText& driver, const PathText& folder) {
    WCHAR name[32];
    format_text(name, 32, TEXT("ResourceLibrary%04X"), static_cast<unsigned>(process_state().default_language));
    for (HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
        PathText named, path;
        CRegKey key;
        if (!open_product_key(key, root) || !key.read_path(name, named) || named.empty()) continue;
        JoinPath(folder.c_str(), named.c_str(), path);
        if (HMODULE library = load_library(path, driver)) return library;
        KV_FAIL(Driver, "the named library is not loaded: %s", TraceText(path.c_str()).c_str());
    }
    return nullptr;
}

HMODULE load_own_library(const PathText& driver, const PathText& folder) {
    PathText path;
    JoinPath(folder.c_str(), kLibraryName, path);
    const bool exists = FileExists(path.c_str());
    HMODULE library = exists ? load_library(path, driver) : nullptr;
    if (!library) {
        TextBuffer<320> text;
        format_text(text.data(), text.capacity(),
                    exists ? TEXT("Could not load resource DLL %s.") : TEXT("Could not find resource DLL %s."),
                    exists ? path.c_str() : kLibraryName);
        show_message(text.c_str());
    }
    return library;
}

HMODULE load_resource_library() {
    PathText driver, folder;
    if (!GetModuleFileName(process_state().module, driver)) return nullptr;
    GetFolder(driver.c_str(), folder);
    HMODULE library = load_named_library(driver, folder);
    return library ? library : load_own_library(driver, folder);
}

BOOL CALLBACK take_language(HMODULE, LPCWSTR, LPCWSTR, WORD language, LONG_PTR context) {
    *reinterpret_cast<LANGID*>(context) = language;
    return FALSE;
}

BOOL CALLBACK take_first_table(HMODULE module, LPCWSTR type, LPWSTR name, LONG_PTR context) {
    EnumResourceLanguagesW(module, type, name, take_language, context);
    return FALSE;
}

void read_language(ProcessState& state) {
    KV_ASSERT(state.resource_module);
    LANGID language = 0;
    EnumResourceNamesW(state.resource_module, RT_STRING, take_first_table, reinterpret_cast<LONG_PTR>(&language));
    state.resource_language = language;
    CHARSETINFO info = {};
    auto* locale = reinterpret_cast<DWORD*>(static_cast<DWORD_PTR>(language));
    if (TranslateCharsetInfo(locale, &info, TCI_SRCLOCALE)) state.resource_charset = static_cast<BYTE>(info.ciCharset);
}

}  // namespace

BOOL establish_resource_module() {
    ProcessState& state = process_state();
    state.resource_module = load_resource_library();
    state.resource_library_loaded = state.resource_module != nullptr;
    if (!state.resource_module) {
        WCHAR text[64];
        if (LoadStringW(state.module, kProductNameString, text, 64) <= 0) {
            return KV_FAIL(Driver, "no texts: the driver does not load");
        }
        state.resource_module = state.module;
    }
    read_language(state);
    return TRUE;
}

void release_resource_module() {
    ProcessState& state = process_state();
    if (state.resource_library_loaded) FreeLibrary(state.resource_module);
    if (!private_copy().empty()) DeleteFileW(private_copy().c_str());
    private_copy().clear();
    state.resource_library_loaded = false;
    state.resource_module = nullptr;
    state.resource_language = 0;
    state.resource_charset = DEFAULT_CHARSET;
}

}  // namespace kv
