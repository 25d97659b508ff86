#pragma once
// Questions to a font file as it stands in memory, without copying or changing it. None of them trusts the file: what
// lies outside of it counts as absent.

#include <span>

#include "fonts/name_text.h"

namespace kv {

class CTtf;

// 1 when the bytes begin with "ttcf", 0 when not, -1 for null data or less than 4 bytes.
LONG IsCollection(const void* data, DWORD size);
// TRUE when the loaded font has an 'fvar' or a 'STAT' table.
BOOL IsVariableFont(const CTtf& font);

// The code page of a font's legacy names, from its OS/2 and cmap tables (either may be empty), both in host order or
// both in file order. FALSE, and 0, when they give none or more than one.
BOOL FontCodePage(std::span<const BYTE> os2, std::span<const BYTE> cmap, bool host_order, UINT* code_page);

enum class SymbolKind { None, SymbolEncoding, SymbolLikeUnicode };

struct FontNames {
    NameSet names;
    UINT font_code_page = 0;      // 0: none
    WORD encoding = 0xFFFF;       // of the Windows format-4 map; 0xFFFF: there is none
    UINT encoding_code_page = 0;  // of that encoding
    bool legacy_cjk = false;      // that encoding is one of 2 to 6
    SymbolKind symbol = SymbolKind::None;
};

// FALSE for a collection, for a font without 'name' or 'cmap', and when memory is out.
BOOL ReadFontNames(const void* data, DWORD size, FontNames& found);

// The index of the member of a collection, as it stands in its file, whose family name is the face name (with or
// without the prefix '@' of vertical fonts). -1 when there is none.
LONG find_collection_member(const void* data, DWORD size, const WCHAR* face_name);

}  // namespace kv
