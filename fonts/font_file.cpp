#include "fonts/font_file.h"

#include "support/file.h"
#include "support/trace.h"

namespace kv {

BOOL read_font_file(const WCHAR* path, CGlobalObj& block) {
    File file;
    if (!path || !*path || !file.OpenRead(path, TRUE)) return FALSE;
    const LONG size = file.GetSize();
    if (size < 0 || !block.Alloc(static_cast<DWORD>(size))) return FALSE;
    DWORD got = 0;
    if (!file.Read(block.data(), static_cast<DWORD>(size), &got) || got != static_cast<DWORD>(size)) {
        return KV_FAIL(Fonts, "%u of %u bytes of %s", static_cast<unsigned>(got), static_cast<unsigned>(size),
                       TraceText(path).c_str());
    }
    block.set_used(got);
    return TRUE;
}

}  // namespace kv
