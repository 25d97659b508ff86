#pragma once
// What makes a font file the same one.

#include <span>

#include "fonts/md5.h"
#include "platform/ddi.h"

namespace kv {

struct FontIdentity {
    DWORD iUniq;    // of fonts that are not TrueType
    DWORD iTTUniq;  // of TrueType fonts
    DWORD flFontType;
    WCHAR family[64];  // truncated
    WCHAR face[64];
    DWORD size;  // of the font file, bytes; 0: there is none
    Md5Digest digest;
};
static_assert(sizeof(FontIdentity) == 288);

FontIdentity make_font_identity(const FONTOBJ& font, const IFIMETRICS& metrics, std::span<const BYTE> file);
// What two fonts of one file have in common, whatever handles the engine knows them under: the key of the job's files.
std::span<const BYTE> content_of(const FontIdentity& identity);

}  // namespace kv
