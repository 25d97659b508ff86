#pragma once
// The fixed parts of fonts as OpenType (ISO/IEC 14496-22) lays them out, each described once: by its
// list of fields numbers are read in either byte order, and the whole part is turned around. What stands behind it,
// arrays and texts, is the business of each table's own reader.

#include "fonts/sfnt.h"

namespace kv {

// Like numbers in a row.
struct TableField {
    DWORD offset;     // of the first, from the start of the table or record, bytes
    DWORD width;      // of each: 2 or 4 bytes, or 1 for bytes that have no order
    DWORD count = 1;  // of numbers
    constexpr DWORD end() const { return offset + width * count; }
};

// The fields follow each other from the start to an end, as the format gives it.
consteval bool fill(std::span<const TableField> fields, DWORD end) {
    DWORD at = 0;
    for (const TableField& field : fields) {
        if (field.offset != at) return false;
        at = field.end();
    }
    return at == end;
}

// Nothing but 16-bit numbers.
consteval bool is_words(std::span<const TableField> fields) {
    for (const TableField& field : fields) {
        if (field.width != 2) return false;
    }
    return true;
}

struct DirectoryLayout {
    static constexpr TableField kVersion = {0, 1, 4}, kNumTables = {4, 2}, kSearch = {6, 2, 3};
    static constexpr TableField kFields[] = {kVersion, kNumTables, kSearch};
};
static_assert(fill(DirectoryLayout::kFields, 12));

struct EntryLayout {
    static constexpr TableField kTag = {0, 1, 4}, kChecksum = {4, 4}, kOffset = {8, 4}, kLength = {12, 4};
    static constexpr TableField kFields[] = {kTag, kChecksum, kOffset, kLength};
};
static_assert(fill(EntryLayout::kFields, 16));

struct HeadLayout {
    static constexpr TableField kVersions = {0, 4, 4};  // of table and font, checksum adjustment, magic number
    static constexpr TableField kFlags = {16, 2, 2};    // and units per em
    static constexpr TableField kDates = {20, 4, 4};    // two 64-bit ones, turned word by word
    static constexpr TableField kBox = {36, 2, 7};      // up to the direction hint
    static constexpr TableField kIndexToLocFormat = {50, 2}, kGlyphDataFormat = {52, 2};
    static constexpr TableField kFields[] = {kVersions, kFlags, kDates, kBox, kIndexToLocFormat, kGlyphDataFormat};
};
static_assert(fill(HeadLayout::kFields, 54));

struct HheaLayout {
    static constexpr TableField kVersion = {0, 4}, kMetrics = {4, 2, 15}, kNumberOfHMetrics = {34, 2};
    static constexpr TableField kFields[] = {kVersion, kMetrics, kNumberOfHMetrics};
};
static_assert(fill(HheaLayout::kFields, 36));

struct MaxpLayout {
    static constexpr TableField kVersion = {0, 4}, kNumGlyphs = {4, 2};
    static constexpr TableField kLimits = {6, 2, 13};  // of fonts with TrueType outlines
    static constexpr TableField kFields[] = {kVersion, kNumGlyphs, kLimits};
};
static_assert(fill(MaxpLayout::kFields, 32));

struct Os2Layout {
    static constexpr TableField kVersion = {0, 2}, kMetrics = {2, 2, 15}, kPanose = {32, 1, 10};
    static constexpr TableField kUnicodeRange1 = {42, 4}, kUnicodeRange2 = {46, 4}, kUnicodeRange3 = {50, 4},
                                kUnicodeRange4 = {54, 4}, kVendor = {58, 1, 4}, kSelection = {62, 2};
    static constexpr TableField kFirstChar = {64, 2}, kLastChar = {66, 2}, kLineMetrics = {68, 2, 5};
    // Of later versions.
    static constexpr TableField kCodePageRange1 = {78, 4}, kCodePageRange2 = {82, 4}, kXHeight = {86, 2},
                                kCapHeight = {88, 2}, kDefaultChar = {90, 2}, kBreakChar = {92, 2},
                                kMaxContext = {94, 2};
    static constexpr TableField kFields[] = {
        kVersion, kMetrics,   kPanose,      kUnicodeRange1, kUnicodeRange2, kUnicodeRange3,  kUnicodeRange4,
        kVendor,  kSelection, kFirstChar,   kLastChar,      kLineMetrics,   kCodePageRange1, kCodePageRange2,
        kXHeight, kCapHeight, kDefaultChar, kBreakChar,     kMaxContext};
};
static_assert(fill(Os2Layout::kFields, 96));

struct PostLayout {
    static constexpr TableField kVersion = {0, 4}, kItalicAngle = {4, 4}, kUnderline = {8, 2, 2}, kMemory = {12, 4, 5};
    static constexpr TableField kFields[] = {kVersion, kItalicAngle, kUnderline, kMemory};
    // Of version 2, behind the header; it and the glyph names' indices stay in file order.
    static constexpr TableField kNumGlyphs = {32, 2};
};
static_assert(fill(PostLayout::kFields, 32));

struct NameLayout {
    static constexpr TableField kFormat = {0, 2}, kCount = {2, 2}, kStorage = {4, 2};
    static constexpr TableField kFields[] = {kFormat, kCount, kStorage};
};
static_assert(fill(NameLayout::kFields, 6));

struct NameRecordLayout {
    static constexpr TableField kPlatform = {0, 2}, kEncoding = {2, 2}, kLanguage = {4, 2}, kName = {6, 2},
                                kLength = {8, 2}, kOffset = {10, 2};
    static constexpr TableField kFields[] = {kPlatform, kEncoding, kLanguage, kName, kLength, kOffset};
};
static_assert(fill(NameRecordLayout::kFields, 12));

struct CmapLayout {
    static constexpr TableField kVersion = {0, 2}, kCount = {2, 2};
    static constexpr TableField kFields[] = {kVersion, kCount};
};
static_assert(fill(CmapLayout::kFields, 4));

struct CmapRecordLayout {
    static constexpr TableField kPlatform = {0, 2}, kEncoding = {2, 2}, kOffset = {4, 4};
    static constexpr TableField kFields[] = {kPlatform, kEncoding, kOffset};
};
static_assert(fill(CmapRecordLayout::kFields, 8));

// Headers of the subtables of 'cmap': of formats 0 and 2, and of 4 and 6, whose headers are longer.
struct SubtableLayout {
    static constexpr TableField kFormat = {0, 2}, kLength = {2, 2}, kLanguage = {4, 2};
    static constexpr TableField kFields[] = {kFormat, kLength, kLanguage};
};
static_assert(fill(SubtableLayout::kFields, 6));

struct Format4Layout : SubtableLayout {
    static constexpr TableField kSegCountX2 = {6, 2}, kSearch = {8, 2, 3};
    static constexpr TableField kFields[] = {kFormat, kLength, kLanguage, kSegCountX2, kSearch};
};
static_assert(fill(Format4Layout::kFields, 14));

struct Format6Layout : SubtableLayout {
    static constexpr TableField kFirstCode = {6, 2}, kEntryCount = {8, 2};
    static constexpr TableField kFields[] = {kFormat, kLength, kLanguage, kFirstCode, kEntryCount};
};
static_assert(fill(Format6Layout::kFields, 10));

// Of formats 8, 10, 12 and 13.
struct LongSubtableLayout {
    static constexpr TableField kFormat = {0, 2}, kReserved = {2, 1, 2}, kLengthAndLanguage = {4, 4, 2};
    static constexpr TableField kFields[] = {kFormat, kReserved, kLengthAndLanguage};
};
static_assert(fill(LongSubtableLayout::kFields, 12));

struct Format14Layout {
    static constexpr TableField kFormat = {0, 2}, kLength = {2, 4};
    static constexpr TableField kFields[] = {kFormat, kLength};
};
static_assert(fill(Format14Layout::kFields, 6));

// What a fixed part takes up whole.
template <class Layout>
inline constexpr DWORD kSizeOf = std::end(Layout::kFields)[-1].end();

// The number of a field that lies within the table or record.
template <TableField field>
auto load(const BYTE* table, ByteOrder order) {
    static_assert(field.width == 2 || field.width == 4);
    if constexpr (field.width == 2) {
        return load_u16(table + field.offset, order);
    } else {
        return load_u32(table + field.offset, order);
    }
}

// The number of a field, 0 where the table ends before it.
template <TableField field>
auto read(std::span<const BYTE> table, ByteOrder order) {
    using Number = decltype(load<field>(nullptr, order));
    return field.end() <= table.size() ? load<field>(table.data(), order) : Number{0};
}

// Turns the numbers of those fields around that the bytes hold whole.
inline void swap_fields(std::span<BYTE> bytes, std::span<const TableField> fields) {
    for (const TableField& field : fields) {
        if (field.end() > bytes.size()) return;
        if (field.width == 2) swap_u16(bytes.data() + field.offset, field.count);
        if (field.width == 4) swap_u32(bytes.data() + field.offset, field.count);
    }
}

}  // namespace kv
