// The resource library: localised texts that come with the product, in a DLL beside the driver.

#include "driver/process.h"
#include "support/message.h"
#include "support/paths.h"
#include "support/process_state.h"
#include "support/reg_key.h"

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
    if (!size || !block.alloc(size) || !GetFileVersionInfoW(path, 0, size, block.get()) ||
        !VerQueryValueW(block.get(), TEXT("\\"), &value, &length) || length < sizeof(VS_FIXEDFILEINFO)) {
        return {};
    }
    const auto* info = static_cast<const VS_FIXEDFILEINFO*>(value);
    return {info->dwFileVersionMS, info->dwFileVersionLS};
}

// A library that the registry names for the user's language: value "ResourceLibrary" and the language in
// hexadecimal, of the user's or the machine's product key.
bool find_named_library(PathText& path) {
    WCHAR name[32];
    format_text(name, 32, TEXT("ResourceLibrary%04X"), static_cast<unsigned>(process_state().default_language));
    for (HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
        CRegKey key;
        const WCHAR* library = open_product_key(key, root) ? key.ReadString(name) : nullptr;
        if (!library || !*library) continue;
        path.assign(library);
        return true;
    }
    return false;
}

bool find_own_library(const PathText& driver, PathText& path) {
    PathText folder;
    GetFolder(driver.c_str(), folder);
    JoinPath(folder.c_str(), kLibraryName, path);
    if (FileExists(path.c_str())) return true;
    TextBuffer<320> text;
    format_text(text.data(), text.capacity(), TEXT("Could not find resource DLL %s."), kLibraryName);
    show_message(text.c_str());
    return false;
}

HMODULE load_library(const PathText& path) {
    HMODULE library = LoadLibraryW(path.c_str());
    if (!library) {
        TextBuffer<320> text;
        format_text(text.data(), text.capacity(), TEXT("Could not load resource DLL %s."), path.c_str());
        show_message(text.c_str());
    }
    return library;
}

// Another version of the product has its library there, and may replace it at any time: a copy stays as it is.
HMODULE load_private_copy(const PathText& library) {
    PathText copy;
    if (!CreateTempFile(nullptr, copy)) return nullptr;
    HMODULE loaded = CopyFileW(library.c_str(), copy.c_str(), FALSE) ? load_library(copy) : nullptr;
    if (loaded) {
        MoveFileExW(copy.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
    } else {
        DeleteFileW(copy.c_str());
    }
    return loaded;
}

HMODULE load_resource_library() {
    PathText driver, path;
    if (!GetModuleFileName(process_state().module, driver)) return nullptr;
    if (!find_named_library(path) && !find_own_library(driver, path)) return nullptr;
    HMODULE library = load_library(path);
    if (!library || version_of(path.c_str()) == version_of(driver.c_str())) return library;
    FreeLibrary(library);
    return load_private_copy(path);
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
        if (LoadStringW(state.module, kProductNameString, text, 64) <= 0) return FALSE;
        state.resource_module = state.module;
    }
    read_language(state);
    return TRUE;
}

void release_resource_module() {
    ProcessState& state = process_state();
    if (state.resource_library_loaded) FreeLibrary(state.resource_module);
    state.resource_library_loaded = false;
    state.resource_module = nullptr;
    state.resource_language = 0;
    state.resource_charset = DEFAULT_CHARSET;
}

}  // namespace kv
