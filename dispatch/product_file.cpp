#include "dispatch/product_file.h"

#include "support/assert.h"
#include "support/paths.h"
#include "support/process_state.h"
#include "support/reg_key.h"
#include "support/trace.h"

namespace kv {
namespace {

bool is_address(const WCHAR* name) {
    return starts_with(name, TEXT("mailto:")) || find_text(name, TEXT("://")) != nullptr;
}

BOOL driver_directory(const WCHAR* environment, PathText& folder) {
    PathText name(environment);  // the system takes it as writable text
    DWORD needed = 0;
    const BOOL found = GetPrinterDriverDirectoryW(nullptr, name.data(), 1, reinterpret_cast<BYTE*>(folder.data()),
                                                  sizeof folder, &needed);
    return (found && !folder.empty()) ||
           KV_FAIL(Dispatch, "no folder of printer drivers for %s", TraceText(environment).c_str());
}

bool lies_inside(const PathText& folder, const PathText& parent) {
    if (!starts_with_ignoring_case(folder.c_str(), parent.c_str())) return false;
    KV_ASSERT(folder.length() >= parent.length());
    const WCHAR next = folder.c_str()[parent.length()];
    return next == '\\' || next == 0;
}

// Of the machine, or else of the user; empty when neither says.
PathText install_location() {
    PathText path;
    for (HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) {
        CRegKey key;
        if (open_product_key(key, root) && key.read_path(TEXT("InstallLocation"), path) && !path.empty()) break;
    }
    return path;
}

BOOL join_existing(const WCHAR* folder, const WCHAR* name, PathText& path) {
    JoinPath(folder, name, path);
    const bool exists = FileExists(path.c_str());
    KV_TRACE(Dispatch, Info, "%s: %s", exists ? "found" : "not there", TraceText(path.c_str()).c_str());
    return exists;
}

}  // namespace

BOOL FindProductFile(const WCHAR* environment, const WCHAR* file_name, PathText& path) {
    if (is_address(file_name)) {
        path.assign(file_name);
        return TRUE;
    }
    PathText driver, driver_folder, directory, preferred;
    GetModuleFileName(process_state().module, driver);
    GetFolder(driver.c_str(), driver_folder);
    if (!file_name || !*file_name) {
        path = driver_folder;
        return TRUE;
    }
    if (driver_directory(environment, directory) && lies_inside(driver_folder, directory)) {
        PathText current;
        JoinPath(directory.c_str(), TEXT("3"), current);
        if (join_existing(current.c_str(), file_name, path)) return TRUE;
        preferred = path;
    }
    const PathText location = install_location();
    if (!location.empty() && join_existing(location.c_str(), file_name, path)) return TRUE;
    if (join_existing(driver_folder.c_str(), file_name, path)) return TRUE;
    if (!preferred.empty()) {
        path = preferred;
    } else if (!location.empty()) {
        JoinPath(location.c_str(), file_name, path);
    }
    KV_TRACE(Dispatch, Warning, "in no folder of the product: %s", TraceText(file_name).c_str());
    return FALSE;
}

}  // namespace kv
