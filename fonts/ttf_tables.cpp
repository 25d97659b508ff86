// What a parse takes from each table. A table that is cut off before the fields that are read counts as absent.

#include <algorithm>

#include "fonts/font_names.h"
#include "fonts/table_layout.h"
#include "fonts/table_order.h"
#include "fonts/ttf.h"
#include "support/assert.h"

namespace kv {
namespace {

constexpr DWORD kStandardGlyphNames = 258;  // names that fonts share; indices from here on are the font's own

// The number of a field of a table that was found whole and is in host order.
template <TableField field>
auto host_number(const CTtfTable& table) {
    KV_ASSERT(table.host_order && table.length >= field.end());
    return load<field>(table.location, ByteOrder::Host);
}

DWORD glyph_count(const CTtfTable* maxp) { return maxp ? host_number<MaxpLayout::kNumGlyphs>(*maxp) : DWORD{0}; }

// A table that has all that is read of it, or null.
const CTtfTable* if_whole(const CTtfTable* table) { return table->length >= least_size(table->tag) ? table : nullptr; }

}  // namespace

bool CTtf::WantTable(DWORD) const { return true; }
void CTtf::on_windows_family_name(const NameText&, LANGID) {}
BOOL CTtf::parse_cff(const CTtfTable* table) { return table && table->location; }
BOOL CTtf::parse_ebdt(const CTtfTable* table) { return table && table->location; }
BOOL CTtf::parse_eblc(const CTtfTable* table) { return table && table->location; }
BOOL CTtf::parse_ebsc(const CTtfTable* table) { return table && table->location; }
DWORD CTtf::even_length(DWORD length) const { return length & ~DWORD{1}; }

BOOL CTtf::ParseTable(CTtfTable* table) {
    if (!table->location || !WantTable(table->tag)) return TRUE;
    switch (table->tag) {
        case tag("head"):
            return parse_head(table);
        case tag("hhea"):
            return parse_hhea(table);
        case tag("maxp"):
            return parse_maxp(table);
        case tag("OS/2"):
            return parse_os2(table);
        case tag("glyf"):
            return parse_glyf(table);
        case tag("name"):
            return ParseName(table);
        case tag("cmap"):
            return parse_cmap(table);
        case tag("post"):
            return ParsePost(table);
        case tag("CFF "):
            return parse_cff(table);
        case tag("EBDT"):
            return parse_ebdt(table);
        case tag("EBLC"):
            return parse_eblc(table);
        case tag("EBSC"):
            return parse_ebsc(table);
    }
    return TRUE;
}

BOOL CTtf::ParseLateTable(CTtfTable* table) {
    if (!table->location || !WantTable(table->tag)) return TRUE;
    if (table->tag == tag("loca")) return parse_loca(table);
    if (table->tag == tag("hmtx")) return parse_hmtx(table);
    return TRUE;
}

BOOL CTtf::parse_head(CTtfTable* table) {
    if (!table || !table->location) return FALSE;
    convert(*table, ByteOrder::Host);
    found_.head = if_whole(table);
    return TRUE;
}

BOOL CTtf::parse_hhea(CTtfTable* table) {
    if (!table || !table->location) return FALSE;
    convert(*table, ByteOrder::Host);
    found_.hhea = if_whole(table);
    return TRUE;
}

BOOL CTtf::parse_maxp(CTtfTable* table) {
    if (!table || !table->location) return FALSE;
    table->length = even_length(table->length);
    convert(*table, ByteOrder::Host);
    found_.maxp = if_whole(table);
    return TRUE;
}

BOOL CTtf::parse_os2(CTtfTable* table) {
    if (!table || !table->location) return FALSE;
    convert(*table, ByteOrder::Host);
    found_.os2 = if_whole(table);
    return TRUE;
}

BOOL CTtf::parse_glyf(const CTtfTable* table) {
    if (!table || !table->location) return FALSE;
    found_.glyf = table;
    return TRUE;
}

BOOL CTtf::parse_loca(CTtfTable* table) {
    if (!table || !table->location) return FALSE;
    convert_loca(*table, ByteOrder::Host, glyph_count(found_.maxp) + 1);
    found_.loca = table->converted ? table : nullptr;
    return TRUE;
}

BOOL CTtf::parse_hmtx(CTtfTable* table) {
    if (!table || !table->location || !found_.hhea || !found_.maxp) return FALSE;
    const DWORD metrics = host_number<HheaLayout::kNumberOfHMetrics>(*found_.hhea), glyphs = glyph_count(found_.maxp);
    const bool has_bearings = glyphs > metrics && even_length(table->length) == (metrics + glyphs) * 2;
    found_.left_side_bearings = has_bearings ? table->location + metrics * 4 : nullptr;
    found_.hmtx = table;
    KV_ASSERT(!has_bearings || metrics * 4 + (glyphs - metrics) * 2 <= table->length);
    convert(*table, ByteOrder::Host);
    return TRUE;
}

BOOL CTtf::parse_cmap(CTtfTable* table) {
    if (!table || !table->location) return FALSE;
    found_.cmap = table;
    found_.has_format0 = false;
    found_.windows = {};
    found_.format6 = {};
    convert(*table, ByteOrder::Host);
    const CmapTable cmap(table->bytes(), ByteOrder::Host);
    for (DWORD i = 0; i < std::min(cmap.count(), CmapTable::kMostSubtables); ++i) {
        const std::span<const BYTE> subtable = cmap.subtable(i);
        if (!subtable.empty() && !parse_cmap_subtable(cmap.record(i), subtable)) return FALSE;
    }
    return TRUE;
}

BOOL CTtf::parse_cmap_subtable(const CmapRecord& record, std::span<const BYTE> subtable) {
    switch (cmap_format(subtable, ByteOrder::Host)) {
        case 0:
            return parse_cmap_format0(record, subtable);
        case 4:
            return parse_cmap_format4(record, subtable);
        case 6:
            return parse_cmap_format6(record, subtable);
        case 12:
            return parse_cmap_format12(record, subtable);
    }
    return TRUE;
}

BOOL CTtf::parse_cmap_format0(const CmapRecord&, std::span<const BYTE> subtable) {
    if (found_.has_format0 || subtable.size() < sizeof found_.format0) return TRUE;
    std::memcpy(&found_.format0, subtable.data(), sizeof found_.format0);
    found_.has_format0 = true;
    return TRUE;
}

// The encoding counts even where the arrays are cut off.
BOOL CTtf::parse_cmap_format4(const CmapRecord& record, std::span<const BYTE> subtable) {
    if (found_.windows.present || record.platform != kPlatformWindows) return TRUE;
    found_.windows = {true, record.encoding, windows_encoding(record.encoding),
                      Format4Arrays(subtable, ByteOrder::Host)};
    return TRUE;
}

BOOL CTtf::parse_cmap_format6(const CmapRecord&, std::span<const BYTE> subtable) {
    using Layout = Format6Layout;
    if (found_.format6.glyphs || subtable.size() < kSizeOf<Layout>) return TRUE;
    const BYTE* at = subtable.data();
    constexpr ByteOrder kHost = ByteOrder::Host;
    const auto room = static_cast<WORD>(std::min<size_t>((subtable.size() - kSizeOf<Layout>) / 2, 0xFFFF));
    found_.format6 = {load<Layout::kFormat>(at, kHost),
                      load<Layout::kLength>(at, kHost),
                      load<Layout::kLanguage>(at, kHost),
                      load<Layout::kFirstCode>(at, kHost),
                      std::min(load<Layout::kEntryCount>(at, kHost), room),
                      at + kSizeOf<Layout>};
    return TRUE;
}

BOOL CTtf::parse_cmap_format12(const CmapRecord&, std::span<const BYTE>) { return TRUE; }

BOOL CTtf::OnNameRecord(const NameRecord& record, const NameText& text, LANGID language) {
    if (record.name == kNameFamily && record.platform == kPlatformWindows && language != 0) {
        on_windows_family_name(text, language);
    }
    return found_.names.offer(record.name, text, language, ansi_code_page_);
}

BOOL CTtf::ParseName(CTtfTable* table) {
    if (!table || !table->location) return FALSE;
    found_.name = table;
    convert(*table, ByteOrder::Host);
    NameContext context;
    FontCodePage(found_.os2 ? found_.os2->bytes() : std::span<BYTE>(),
                 found_.cmap ? found_.cmap->bytes() : std::span<BYTE>(), true, &context.font_code_page);
    context.cmap_code_page = found_.windows.kind.code_page;
    context.legacy_cjk = found_.windows.present && is_legacy_cjk(found_.windows.encoding);
    const NameTable names(table->bytes(), ByteOrder::Host);
    ReadBudget pass;
    for (DWORD i = 0; i < names.count(); ++i) {
        const NameRecord record = names.record(i);
        const uint64_t cost = ReadBudget::kName + record.length;
        if (!is_read_name(record.name) || !pass.take(cost)) continue;
        if (!take_from_budget(cost)) return FALSE;
        NameText text;
        LANGID language = 0;
        const Decoded decoded = DecodeNameRecord(names, record, context, text, language);
        if (decoded == Decoded::NoMemory) return FALSE;
        if (decoded == Decoded::Text && !OnNameRecord(record, text, language)) return FALSE;
    }
    return found_.names.merge();
}

BOOL CTtf::ParsePost(CTtfTable* table) {
    found_.glyph_names.reset();
    found_.glyph_name_count = 0;
    if (!table || !table->location) return FALSE;
    convert(*table, ByteOrder::Host);
    found_.post = if_whole(table);
    constexpr DWORD kPostIndices = PostLayout::kNumGlyphs.end();
    if (table->length < kPostIndices || host_number<PostLayout::kVersion>(*table) != 0x00020000) return TRUE;
    const DWORD glyphs = load<PostLayout::kNumGlyphs>(table->location, ByteOrder::File);
    if (glyphs * 2 > table->length - kPostIndices) return TRUE;
    DWORD largest = 0;
    for (DWORD i = 0; i < glyphs; ++i) {
        largest = std::max<DWORD>(largest, load_u16(table->location + kPostIndices + 2 * i, ByteOrder::File));
    }
    if (largest < kStandardGlyphNames) return TRUE;
    return list_glyph_names(table->bytes().subspan(kPostIndices + glyphs * 2), largest - kStandardGlyphNames + 1);
}

BOOL CTtf::list_glyph_names(std::span<const BYTE> strings, DWORD count) {
    if (!found_.glyph_names.alloc(count, TEXT("CTtf::ParsePost"))) return FALSE;
    found_.glyph_name_count = count;
    for (DWORD i = 0; i < count; ++i) {
        if (strings.empty() || strings[0] >= strings.size()) {
            found_.glyph_names.reset();
            found_.glyph_name_count = 0;
            return TRUE;
        }
        KV_ASSERT(strings[0] < strings.size());
        found_.glyph_names[i] = strings.data();
        strings = strings.subspan(size_t{1} + strings[0]);
    }
    return TRUE;
}

WORD CTtf::CharToGlyph(DWORD code) const {
    if (code == 0) return 0;
    if (!found_.windows.present) return found_.has_format0 ? format0_glyph(code) : WORD{0};
    const WORD glyph = find_glyph(found_.windows.arrays, code);
    const bool is_symbol = found_.windows.encoding == 0;
    if (glyph || is_symbol || (code != 0x2D && code != 0xAD)) return glyph;
    return find_glyph(found_.windows.arrays, code == 0x2D ? 0xAD : 0x2D);
}

WORD CTtf::format0_glyph(DWORD code) const {
    auto byte = static_cast<BYTE>(code);
    if (code > 127) {
        const auto unit = static_cast<WCHAR>(code);
        char converted[8];
        BOOL replaced = FALSE;
        if (code > 0xFFFF || WideCharToMultiByte(ansi_code_page_, 0, &unit, 1, converted, sizeof converted, nullptr,
                                                 ansi_code_page_ == CP_UTF8 ? nullptr : &replaced) != 1) {
            return 0;
        }
        if (replaced) return 0;
        byte = static_cast<BYTE>(converted[0]);
    }
    return found_.format0.glyphs[byte];
}

}  // namespace kv
