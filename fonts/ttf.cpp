// A font's bytes, its table list and their byte order.

#include "fonts/ttf.h"

#include <algorithm>

#include "fonts/font_file.h"
#include "fonts/font_names.h"
#include "fonts/table_layout.h"
#include "fonts/table_order.h"
#include "support/assert.h"
#include "support/trace.h"

namespace kv {
namespace {

// The tables that are read, in the order in which they are: 'loca' depends on 'head', both late ones on 'maxp'.
constexpr DWORD kEarlyTables[] = {tag("OS/2"), tag("cmap"), tag("glyf"), tag("head"),
                                  tag("hhea"), tag("maxp"), tag("name"), tag("post")};
constexpr DWORD kLateTables[] = {tag("hmtx"), tag("loca")};

bool overlap(const CTtfTable& a, const BYTE* start, size_t size) {
    const DWORD a_size = convertible_size(a.tag, a.length);
    return a_size && size && a.location < start + size && start < a.location + a_size;
}

}  // namespace

CTtf::CTtf() : ansi_code_page_(GetACP()) {}

void CTtf::Reset() {
    bytes_ = {};
    member_offset_ = 0;
    path_.clear();
    ansi_code_page_ = GetACP();
    budget_ = nullptr;
    directory_order_ = ByteOrder::File;
    found_ = {};
}

void CTtf::release() {
    buffer_.free();
    tables_.reset();
    table_count_ = 0;
}

BOOL CTtf::LoadFromFile(const WCHAR* path) {
    release();
    Reset();
    if (!read_font_file(path, buffer_)) {
        release();
        return FALSE;
    }
    bytes_ = {buffer_.data(), buffer_.used()};
    path_.assign(path);
    return TRUE;
}

BOOL CTtf::LoadFromMemory(const void* data, DWORD size) {
    release();
    Reset();
    if (!data || size == 0 || !buffer_.Alloc(size)) return FALSE;
    std::memcpy(buffer_.data(), data, size);
    bytes_ = {buffer_.data(), size};
    return TRUE;
}

BOOL CTtf::SetFontData(BYTE* view, DWORD size, BOOL keep_path, DWORD member_offset) {
    const PathText path = path_;
    release();
    Reset();
    if (keep_path) path_ = path;
    if (!view || size == 0) return FALSE;
    bytes_ = {view - member_offset, size_t{member_offset} + size};
    member_offset_ = member_offset;
    KV_ASSERT(image().data() == view && image().size() == size);
    return TRUE;
}

BYTE* CTtf::locate(const SfntEntry& entry) const {
    return part_of(bytes_, int64_t{member_offset_} + entry.offset, entry.length).data();
}

BOOL CTtf::list_tables() {
    const SfntDirectory directory(image(), directory_order_);
    if (tables_ || directory.count() == 0) return TRUE;
    if (!tables_.alloc(directory.count(), TEXT("CTtf::ParseFont"))) return FALSE;
    table_count_ = directory.count();
    for (DWORD i = 0; i < table_count_; ++i) {
        const SfntEntry entry = directory.entry(i);
        tables_[i] = {entry.tag, entry.checksum, locate(entry), entry.length, false, 0, 0};
    }
    drop_conflicting_tables();
    return TRUE;
}

// Each byte is turned around by one table only, or the way back would not restore it.
void CTtf::drop_conflicting_tables() {
    const CTtfTable* taken[std::size(kEarlyTables) + std::size(kLateTables)];
    size_t count = 0;
    for (const auto kind : {std::span<const DWORD>(kEarlyTables), std::span<const DWORD>(kLateTables)}) {
        for (CTtfTable& table : tables()) {
            if (!table.location || std::ranges::find(kind, table.tag) == kind.end()) continue;
            if (conflicts(table, {taken, count})) {
                KV_TRACE(Fonts, Warning, "table %08X counts as absent", static_cast<unsigned>(table.tag));
                table.location = nullptr;
            } else {
                KV_ASSERT(count < std::size(taken));
                taken[count++] = &table;
            }
        }
    }
}

bool CTtf::conflicts(const CTtfTable& table, std::span<const CTtfTable* const> taken) const {
    const SfntDirectory directory(image(), directory_order_);
    if (overlap(table, image().data(), directory.size())) return true;
    return std::ranges::any_of(taken, [&](const CTtfTable* other) {
        return table.tag == other->tag || overlap(table, other->location, convertible_size(other->tag, other->length));
    });
}

void CTtf::convert(CTtfTable& table, ByteOrder order) {
    if (!table.location || table.order() == order) return;
    KV_ASSERT(table.location >= bytes_.data() && table.location + table.length <= bytes_.data() + bytes_.size());
    swap_table(table.tag, table.bytes(), table.order());
    table.host_order = !table.host_order;
}

// 0 when the font does not say.
BYTE CTtf::loca_unit() const {
    const CTtfTable* head = find_table(tag("head"));
    if (!head || head->length < kSizeOf<HeadLayout>) return 0;
    return load<HeadLayout::kIndexToLocFormat>(head->location, head->order()) ? 4 : 2;
}

void CTtf::convert_loca(CTtfTable& table, ByteOrder order, DWORD values) {
    if (!table.location || table.order() == order) return;
    if (order == ByteOrder::Host) {
        table.unit = loca_unit();
        const DWORD whole = table.unit ? table.length / table.unit : 0;
        table.converted = table.unit * (values ? std::min(values, whole) : whole);
    }
    KV_ASSERT(table.converted <= table.length && (table.unit != 0 || table.converted == 0));
    if (table.unit == 2) swap_u16(table.location, table.converted / 2);
    if (table.unit == 4) swap_u32(table.location, table.converted / 4);
    table.host_order = !table.host_order;
}

void CTtf::set_directory_order(ByteOrder order) {
    if (directory_order_ == order) return;
    swap_directory(image(), directory_order_);
    directory_order_ = order;
}

void CTtf::SetByteOrder(ByteOrder order) {
    for (CTtfTable& table : tables()) {
        if (table.tag == tag("loca")) {
            convert_loca(table, order, 0);
        } else if (table.tag != tag("post") || order == ByteOrder::File) {
            convert(table, order);
        }
    }
    set_directory_order(order);
}

const CTtfTable* CTtf::find_table(DWORD table_tag) const {
    for (const CTtfTable& table : tables()) {
        if (table.tag == table_tag && table.location) return &table;
    }
    return nullptr;
}

bool CTtf::has_table(DWORD table_tag) const {
    const SfntDirectory directory(image(), directory_order_);
    for (DWORD i = 0; i < directory.count(); ++i) {
        const SfntEntry entry = directory.entry(i);
        if (entry.tag == table_tag && locate(entry)) return true;
    }
    return false;
}

BOOL CTtf::unique_identifier(WCHAR* target, size_t capacity) const {
    const WCHAR* text = found_.names.unique.text.wide();
    return copy_text(target, capacity, text) > 0;
}

BOOL CTtf::ParseFont() {
    // Of a parse however small its tables are: each of a map's 256 records is looked for among the others.
    constexpr DWORD kFixedCost = 16384;
    if (image().size() < SfntDirectory::kHeaderSize || begins_with(image(), tag("ttcf"))) {
        return KV_FAIL(Fonts, "no font, or a collection");
    }
    if (!take_from_budget(kFixedCost + SfntDirectory(image(), directory_order_).size())) {
        return KV_FAIL(Fonts, "the collection's members cost too much");
    }
    set_directory_order(ByteOrder::Host);
    if (!list_tables() || !take_from_budget(wanted_bytes()) || !parse_all_tables()) {
        return KV_FAIL(Fonts, "a table that cannot be read");
    }
    find_blank_space_glyph();
    return TRUE;
}

uint64_t CTtf::wanted_bytes() const {
    uint64_t bytes = 0;
    for (const CTtfTable& table : tables()) {
        if (table.location && WantTable(table.tag)) bytes += convertible_size(table.tag, table.length);
    }
    return bytes;
}

BOOL CTtf::parse_all_tables() {
    for (CTtfTable& table : tables()) {
        if (!ParseTable(&table)) return FALSE;
    }
    for (CTtfTable& table : tables()) {
        if (!ParseLateTable(&table)) return FALSE;
    }
    return TRUE;
}

// Where 'loca' does not reach, there is no outline.
bool CTtf::has_outline(WORD glyph) const {
    const CTtfTable* loca = found_.loca;
    if (begins_with(image(), tag("OTTO")) || !found_.glyf || !loca || loca->unit == 0) return false;
    if ((DWORD{glyph} + 2) * loca->unit > loca->converted) return false;
    const BYTE* at = loca->location + DWORD{glyph} * loca->unit;
    KV_ASSERT(loca->unit == 2 || loca->unit == 4);
    return loca->unit == 2 ? load_u16(at, loca->order()) != load_u16(at + 2, loca->order())
                           : load_u32(at, loca->order()) != load_u32(at + 4, loca->order());
}

void CTtf::find_blank_space_glyph() {
    const WORD glyph = CharToGlyph(0x20);
    found_.blank_space_glyph = glyph && !has_outline(glyph) ? glyph : WORD{0};
}

BOOL IsVariableFont(const CTtf& font) { return font.has_table(tag("fvar")) || font.has_table(tag("STAT")); }

}  // namespace kv
