#pragma once
// The 'cmap' table: which character maps a font has, and its Windows map.

#include "fonts/sfnt.h"

namespace kv {

// What a platform-3 encoding id says of a font's legacy names and characters.
struct WindowsEncoding {
    UINT code_page;  // 0: none
    BYTE charset;    // as in LOGFONTW
};
WindowsEncoding windows_encoding(WORD encoding_id);
// The Windows map's characters are those of a legacy Chinese, Japanese or Korean code page.
inline bool is_legacy_cjk(WORD encoding_id) { return encoding_id >= 2 && encoding_id <= 6; }

struct CmapRecord {
    WORD platform, encoding;
    DWORD offset;  // of the subtable, from the table's start
};

// A view of the table. A subtable ends where the next one begins, so that no byte belongs to two. Only the first 256
// records can have one: no sound font has a tenth of that, and a damaged one costs no time.
class CmapTable {
public:
    static constexpr DWORD kHeaderSize = 4, kRecordSize = 8;
    static constexpr DWORD kMostSubtables = 256;

    CmapTable(std::span<const BYTE> bytes, ByteOrder order);
    // Records that lie within the table.
    DWORD count() const { return count_; }
    CmapRecord record(DWORD index) const;
    // Empty when the record has none within the table.
    std::span<const BYTE> subtable(DWORD index) const;
    // An earlier record has the same subtable.
    bool is_shared(DWORD index) const;

private:
    std::span<const BYTE> bytes_;
    ByteOrder order_;
    DWORD count_ = 0;
};

// The format of a subtable; 0xFFFF for an empty one.
WORD cmap_format(std::span<const BYTE> subtable, ByteOrder order);
// The first platform-3 record whose subtable has format 4. FALSE when there is none.
BOOL find_windows_map(const CmapTable& cmap, ByteOrder order, CmapRecord* found);

// Turns the whole table around, each subtable once.
void swap_cmap(std::span<BYTE> bytes, ByteOrder from);

// The arrays of a format-4 subtable; none when they do not fit into it.
struct Format4Arrays {
    DWORD segments = 0;
    const BYTE* end_code = nullptr;
    const BYTE* reserved_pad = nullptr;
    const BYTE* start_code = nullptr;
    const BYTE* id_delta = nullptr;
    const BYTE* id_range_offset = nullptr;
    const BYTE* glyph_ids = nullptr;
    DWORD glyph_count = 0;  // up to the subtable's end

    Format4Arrays() = default;
    Format4Arrays(std::span<const BYTE> subtable, ByteOrder order);
};

// The glyph of a character in arrays in host order, 0 when there is none.
WORD find_glyph(const Format4Arrays& map, DWORD code);

}  // namespace kv
