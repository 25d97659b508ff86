#pragma once
// The installed fonts as the process found them when the driver was loaded, with their locks.

#include "fonts/font_cache.h"
#include "platform/ddi.h"
#include "support/critical_section.h"

namespace kv {

struct ProcessFonts {
    CriticalSection installed_lock;
    CInstalledFonts installed;  // answers whether a face is installed
    CriticalSection cache_lock;
    CFontCache cache;
};

// At process attach and detach. FALSE when memory is out: no font counts as installed then.
BOOL create_process_fonts();
void release_process_fonts();
// Null when there are none.
ProcessFonts* process_fonts();

// An outline font whose file the job must carry, because none of its full names is that of an installed face.
// FALSE also when its file cannot be had or read.
BOOL ShouldEmbedFont(const IFIMETRICS& metrics, std::span<const BYTE> file);
// As for the cache of the process, under its lock.
BOOL find_installed_family(const WCHAR* family, std::span<const BYTE> file, FamilyText& installed);

}  // namespace kv
