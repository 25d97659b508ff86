#pragma once
// Under which family name the system knows an installed font: the user's registry remembers it by the unique
// identifier ("1") and by the PostScript name ("2") that stand in the font's file.

#include <span>

#include "fonts/installed_fonts.h"
#include "support/text.h"

namespace kv {

class CRegKey;
class CTtf;

enum FontCacheParts : DWORD { kCacheByUniqueId = 1, kCacheByPostScriptName = 2 };

class CFontCache : public CInstalledFonts {
public:
    // Brings the cache up to date with the installed fonts, once in the life of the object. FALSE when its key
    // cannot be had.
    BOOL refresh(DWORD parts);

private:
    bool refreshed_ = false;
};

// Of a face name: at most 31 units count in a font definition, the cache keeps 255.
using FamilyText = TextBuffer<256>;

// The installed family name of a font by its file's own names. FALSE when it is not found. The caller holds the lock
// of the cache.
BOOL ResolveFaceName(CFontCache& cache, const WCHAR* family, std::span<const BYTE> file, FamilyText& installed);

}  // namespace kv
