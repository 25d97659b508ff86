#include "fonts/cmap_table.h"

#include <algorithm>
#include <iterator>

#include "fonts/index_ranges.h"
#include "fonts/table_layout.h"
#include "support/assert.h"

namespace kv {
namespace {

enum : WORD { kPlatformWindows = 3 };

constexpr WindowsEncoding kWindowsEncodings[] = {
    {0, 2},      // symbol
    {0, 1},      // Unicode
    {932, 128},  // Shift-JIS
    {936, 134},  // PRC
    {950, 136},  // Big5
    {949, 129},  // Wansung
    {1361, 130}  // Johab
};

// The arrays of a format-4 subtable stand behind its header: one, a reserved word, and three.
constexpr size_t kFormat4FixedSize = kSizeOf<Format4Layout> + 2, kFormat4SegmentSize = 4 * 2;  // bytes
constexpr size_t kGroupSize = 12;  // of format 12, whose groups stand behind their number

WORD unit_at(const BYTE* array, size_t index, ByteOrder order) { return load_u16(array + 2 * index, order); }

// The glyph ids that a segment refers to, counted from the start of the glyph id array.
IndexRange glyph_ids_of(const Format4Arrays& map, DWORD segment, ByteOrder order) {
    const DWORD start_code = unit_at(map.start_code, segment, order);
    const DWORD end_code = unit_at(map.end_code, segment, order);
    const DWORD distance = unit_at(map.id_range_offset, segment, order);
    if (start_code == 0xFFFF || distance == 0 || end_code < start_code) return {0, 0};
    const DWORD first = segment + distance / 2, last = first + (end_code - start_code);
    if (last < map.segments) return {0, 0};
    const DWORD start = std::max(first, map.segments) - map.segments;
    const DWORD end = std::min(last - map.segments + 1, map.glyph_count);
    return start < end ? IndexRange{start, end - start} : IndexRange{0, 0};
}

void swap_format4(std::span<BYTE> subtable, ByteOrder from) {
    const Format4Arrays map(subtable, from);
    BYTE* glyph_ids = subtable.data() + kFormat4FixedSize + map.segments * kFormat4SegmentSize;
    KV_ASSERT(map.segments == 0 || glyph_ids + 2 * map.glyph_count <= subtable.data() + subtable.size());
    for_each_merged_range(
        map.segments, [&](DWORD i) { return glyph_ids_of(map, i, from); },
        [&](DWORD start, DWORD end) { swap_u16(glyph_ids + 2 * start, end - start); });
    if (map.segments) {
        // The reserved word between the first array and the other three stays.
        swap_u16(subtable.data() + kSizeOf<Format4Layout>, map.segments);
        swap_u16(subtable.data() + kFormat4FixedSize + 2 * map.segments, 3 * map.segments);
    }
    swap_fields(subtable, Format4Layout::kFields);
}

void swap_format6(std::span<BYTE> subtable, ByteOrder from) {
    const std::span<BYTE> behind = subtable.subspan(kSizeOf<Format6Layout>);
    const DWORD ids = load<Format6Layout::kEntryCount>(subtable.data(), from);
    swap_u16(behind.data(), std::min<size_t>(ids, behind.size() / 2));
    swap_fields(subtable, Format6Layout::kFields);
}

void swap_groups(std::span<BYTE> subtable, ByteOrder from) {
    constexpr size_t kCountEnd = kSizeOf<LongSubtableLayout> + 4;
    if (subtable.size() < kCountEnd) return;
    BYTE* count = subtable.data() + kSizeOf<LongSubtableLayout>;
    const size_t groups = std::min<size_t>(load_u32(count, from), (subtable.size() - kCountEnd) / kGroupSize);
    swap_u32(count, 1 + 3 * groups);
}

void swap_subtable(std::span<BYTE> subtable, ByteOrder from) {
    switch (cmap_format(subtable, from)) {
        case 4:
            if (subtable.size() < kSizeOf<Format4Layout>) return swap_fields(subtable, SubtableLayout::kFields);
            return swap_format4(subtable, from);
        case 6:
            if (subtable.size() < kSizeOf<Format6Layout>) return swap_fields(subtable, SubtableLayout::kFields);
            return swap_format6(subtable, from);
        case 0:
        case 2:
            return swap_fields(subtable, SubtableLayout::kFields);
        case 12:
            swap_groups(subtable, from);
            return swap_fields(subtable, LongSubtableLayout::kFields);
        case 8:
        case 10:
        case 13:
            return swap_fields(subtable, LongSubtableLayout::kFields);
        case 14:
            return swap_fields(subtable, Format14Layout::kFields);
        default:
            return swap_fields(subtable, {&SubtableLayout::kFormat, 1});
    }
}

}  // namespace

WindowsEncoding windows_encoding(WORD encoding_id) {
    return encoding_id < std::size(kWindowsEncodings) ? kWindowsEncodings[encoding_id] : WindowsEncoding{0, 1};
}

static_assert(CmapTable::kHeaderSize == kSizeOf<CmapLayout> && CmapTable::kRecordSize == kSizeOf<CmapRecordLayout>);

CmapTable::CmapTable(std::span<const BYTE> bytes, ByteOrder order) : bytes_(bytes), order_(order) {
    if (bytes.size() < kHeaderSize) return;
    count_ = static_cast<DWORD>(
        std::min<size_t>(load<CmapLayout::kCount>(bytes.data(), order), (bytes.size() - kHeaderSize) / kRecordSize));
}

CmapRecord CmapTable::record(DWORD index) const {
    KV_ASSERT(index < count_);
    const BYTE* at = bytes_.data() + kHeaderSize + index * kRecordSize;
    return {load<CmapRecordLayout::kPlatform>(at, order_), load<CmapRecordLayout::kEncoding>(at, order_),
            load<CmapRecordLayout::kOffset>(at, order_)};
}

std::span<const BYTE> CmapTable::subtable(DWORD index) const {
    const DWORD records = std::min(count_, kMostSubtables);
    if (index >= records) return {};
    const DWORD start = record(index).offset;
    size_t end = bytes_.size();
    if (start < kHeaderSize + count_ * kRecordSize || start >= end) return {};
    for (DWORD i = 0; i < records; ++i) {
        const DWORD other = record(i).offset;
        if (other > start && other < end) end = other;
    }
    return bytes_.subspan(start, end - start);
}

bool CmapTable::is_shared(DWORD index) const {
    const DWORD offset = record(index).offset;
    for (DWORD i = 0; i < index; ++i) {
        if (record(i).offset == offset) return true;
    }
    return false;
}

WORD cmap_format(std::span<const BYTE> subtable, ByteOrder order) {
    constexpr TableField kFormat = SubtableLayout::kFormat;
    return subtable.size() >= kFormat.end() ? load<kFormat>(subtable.data(), order) : WORD{0xFFFF};
}

BOOL find_windows_map(const CmapTable& cmap, ByteOrder order, CmapRecord* found) {
    const DWORD records = std::min(cmap.count(), CmapTable::kMostSubtables);
    for (DWORD i = 0; i < records; ++i) {
        *found = cmap.record(i);
        if (found->platform == kPlatformWindows && cmap_format(cmap.subtable(i), order) == 4) return TRUE;
    }
    return FALSE;
}

void swap_cmap(std::span<BYTE> bytes, ByteOrder from) {
    if (bytes.size() < CmapTable::kHeaderSize) return;
    const CmapTable cmap(bytes, from);
    for (DWORD i = 0; i < std::min(cmap.count(), CmapTable::kMostSubtables); ++i) {
        const std::span<const BYTE> subtable = cmap.subtable(i);
        if (subtable.empty() || cmap.is_shared(i)) continue;
        swap_subtable(bytes.subspan(cmap.record(i).offset, subtable.size()), from);
    }
    for (DWORD i = 0; i < cmap.count(); ++i) {
        swap_fields(bytes.subspan(CmapTable::kHeaderSize + i * CmapTable::kRecordSize), CmapRecordLayout::kFields);
    }
    swap_fields(bytes, CmapLayout::kFields);
}

Format4Arrays::Format4Arrays(std::span<const BYTE> subtable, ByteOrder order) {
    if (subtable.size() < kFormat4FixedSize) return;
    const DWORD count = load<Format4Layout::kSegCountX2>(subtable.data(), order) / 2;
    const size_t fixed = kFormat4FixedSize + count * kFormat4SegmentSize;
    if (count == 0 || fixed > subtable.size()) return;
    segments = count;
    end_code = subtable.data() + kSizeOf<Format4Layout>;
    reserved_pad = end_code + 2 * count;
    start_code = reserved_pad + 2;
    id_delta = start_code + 2 * count;
    id_range_offset = id_delta + 2 * count;
    glyph_ids = id_range_offset + 2 * count;
    glyph_count = static_cast<DWORD>((subtable.size() - fixed) / 2);
    KV_ASSERT(glyph_ids == subtable.data() + fixed);
}

WORD find_glyph(const Format4Arrays& map, DWORD code) {
    constexpr ByteOrder kHost = ByteOrder::Host;
    for (DWORD i = 0; i < map.segments; ++i) {
        const DWORD start = unit_at(map.start_code, i, kHost);
        if (start == 0xFFFF) continue;
        if (code < start) return 0;
        if (code > unit_at(map.end_code, i, kHost)) continue;
        const DWORD delta = unit_at(map.id_delta, i, kHost), distance = unit_at(map.id_range_offset, i, kHost);
        if (distance == 0) return static_cast<WORD>(code + delta);
        const DWORD unit = i + distance / 2 + (code - start);
        if (unit < map.segments || unit - map.segments >= map.glyph_count) return 0;
        const WORD glyph = unit_at(map.glyph_ids, unit - map.segments, kHost);
        return glyph ? static_cast<WORD>(glyph + delta) : WORD{0};
    }
    return 0;
}

}  // namespace kv
