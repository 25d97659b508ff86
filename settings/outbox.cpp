#include "settings/outbox.h"

#include "support/reg_key.h"
#include "support/trace.h"

namespace kv {
namespace {

constexpr const WCHAR* kOutbox = TEXT("Outbox");

bool is_separator(WCHAR unit) { return unit == '\\' || unit == '/'; }

}  // namespace

bool is_full_path(const WCHAR* path) {
    const WCHAR drive = static_cast<WCHAR>(path[0] | 0x20);
    if (drive >= 'a' && drive <= 'z' && path[1] == ':') return is_separator(path[2]);
    return is_separator(path[0]) && is_separator(path[1]) && path[2] && !is_separator(path[2]);
}

void read_outbox(PathText& folder) {
    folder.clear();
    for (HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
        CRegKey key;
        if (open_product_key(key, root) && key.read_path(kOutbox, folder) && is_full_path(folder.c_str())) return;
        folder.clear();
    }
}

BOOL write_outbox(const WCHAR* folder) {
    CRegKey key;
    if (*folder) {
        if (!is_full_path(folder)) return KV_FAIL(Settings, "the outbox has no full path");
        return create_product_key(key, HKEY_CURRENT_USER) && key.write_string(kOutbox, folder);
    }
    if (!key.Open(KEY_READ | KEY_WRITE, HKEY_CURRENT_USER, kProductKeyPath)) return TRUE;
    return !key.ValueExists(kOutbox) || key.DeleteValue(kOutbox);
}

}  // namespace kv
