#include "fonts/cmap_table.h"

#include <algorithm>
#include <iterator>

#include "fonts/index_ranges.h"

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

// Header of formats 0, 2, 4 and 6: format, length, language. The format alone when the rest is cut off.
constexpr size_t kShortHeaderUnits = 3;
constexpr size_t kFormat4HeaderUnits = 7, kFormat4FixedSize = 16, kFormat4SegmentSize = 8;
constexpr size_t kFormat6HeaderUnits = 5, kFormat6HeaderSize = 10;
constexpr size_t kLongHeaderSize = 12, kFormat12HeaderSize = 16, kGroupSize = 12;

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
    for_each_merged_range(
        map.segments, [&](DWORD i) { return glyph_ids_of(map, i, from); },
        [&](DWORD start, DWORD end) { swap_u16(glyph_ids + 2 * start, end - start); });
    if (map.segments) {
        // The reserved word between the first array and the other three stays.
        swap_u16(subtable.data() + 2 * kFormat4HeaderUnits, map.segments);
        swap_u16(subtable.data() + kFormat4FixedSize + 2 * map.segments, 3 * map.segments);
    }
    swap_u16(subtable.data(), kFormat4HeaderUnits);
}

void swap_format6(std::span<BYTE> subtable, ByteOrder from) {
    const size_t ids = std::min<size_t>(unit_at(subtable.data(), 4, from), (subtable.size() - kFormat6HeaderSize) / 2);
    swap_u16(subtable.data(), kFormat6HeaderUnits + ids);
}

void swap_long_format(std::span<BYTE> subtable, WORD format, ByteOrder from) {
    if (format == 12 && subtable.size() >= kFormat12HeaderSize) {
        const size_t groups = std::min<size_t>(load_u32(subtable.data() + kLongHeaderSize, from),
                                               (subtable.size() - kFormat12HeaderSize) / kGroupSize);
        swap_u32(subtable.data() + kLongHeaderSize, 1 + 3 * groups);
    }
    swap_u16(subtable.data(), 1);
    if (subtable.size() >= kLongHeaderSize) swap_u32(subtable.data() + 4, 2);
}

void swap_subtable(std::span<BYTE> subtable, ByteOrder from) {
    const WORD format = cmap_format(subtable, from);
    const size_t size = subtable.size();
    if (format == 4 && size >= 2 * kFormat4HeaderUnits) {
        swap_format4(subtable, from);
    } else if (format == 6 && size >= kFormat6HeaderSize) {
        swap_format6(subtable, from);
    } else if (format == 0 || format == 2 || format == 4 || format == 6) {
        swap_u16(subtable.data(), std::min(kShortHeaderUnits, size / 2));
    } else if (format == 8 || format == 10 || format == 12 || format == 13) {
        swap_long_format(subtable, format, from);
    } else if (size >= 2) {
        swap_u16(subtable.data(), 1);
        if (format == 14 && size >= 6) swap_u32(subtable.data() + 2, 1);
    }
}

}  // namespace

WindowsEncoding windows_encoding(WORD encoding_id) {
    return encoding_id < std::size(kWindowsEncodings) ? kWindowsEncodings[encoding_id] : WindowsEncoding{0, 1};
}

CmapTable::CmapTable(std::span<const BYTE> bytes, ByteOrder order) : bytes_(bytes), order_(order) {
    if (bytes.size() < kHeaderSize) return;
    count_ = static_cast<DWORD>(
        std::min<size_t>(unit_at(bytes.data(), 1, order), (bytes.size() - kHeaderSize) / kRecordSize));
}

CmapRecord CmapTable::record(DWORD index) const {
    const BYTE* at = bytes_.data() + kHeaderSize + index * kRecordSize;
    return {load_u16(at, order_), load_u16(at + 2, order_), load_u32(at + 4, order_)};
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
    return subtable.size() >= 2 ? load_u16(subtable.data(), order) : WORD{0xFFFF};
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
        BYTE* record = bytes.data() + CmapTable::kHeaderSize + i * CmapTable::kRecordSize;
        swap_u16(record, 2);
        swap_u32(record + 4, 1);
    }
    swap_u16(bytes.data(), 2);
}

Format4Arrays::Format4Arrays(std::span<const BYTE> subtable, ByteOrder order) {
    if (subtable.size() < kFormat4FixedSize) return;
    const DWORD count = unit_at(subtable.data(), 3, order) / 2;
    const size_t fixed = kFormat4FixedSize + count * kFormat4SegmentSize;
    if (count == 0 || fixed > subtable.size()) return;
    segments = count;
    end_code = subtable.data() + 2 * kFormat4HeaderUnits;
    reserved_pad = end_code + 2 * count;
    start_code = reserved_pad + 2;
    id_delta = start_code + 2 * count;
    id_range_offset = id_delta + 2 * count;
    glyph_ids = id_range_offset + 2 * count;
    glyph_count = static_cast<DWORD>((subtable.size() - fixed) / 2);
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
