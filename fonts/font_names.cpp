#include "fonts/font_names.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

#include "fonts/cmap_table.h"
#include "fonts/encodings.h"
#include "fonts/name_table.h"
#include "fonts/table_layout.h"
#include "support/assert.h"
#include "support/text.h"
#include "support/trace.h"

namespace kv {
namespace {

using Bytes = std::span<const BYTE>;

constexpr DWORD kLeastFontSize = SfntDirectory::kHeaderSize + SfntDirectory::kEntrySize;  // bytes: one table
constexpr DWORD kCollectionTag = tag("ttcf");

Bytes table_bytes(Bytes file, const SfntEntry& entry) {
    return part_of(file, static_cast<DWORD>(entry.offset), entry.length);
}

// ulCodePageRange1 with this one bit alone.
struct CodePageBit {
    DWORD bit;
    UINT code_page;
};
constexpr CodePageBit kCodePageBits[] = {
    {0x1, 1252},    {0x2, 1250},     {0x4, 1251},      {0x8, 1253},         {0x10, 1254},   {0x20, 1255},
    {0x40, 1256},   {0x80, 1257},    {0x100, 1258},    {0x10000, 874},      {0x20000, 932}, {0x40000, 936},
    {0x80000, 949}, {0x100000, 950}, {0x200000, 1361}, {0x20000000, 10000},
};

// An OS/2 table whose characters are those of the symbol area at 0xF000, though its map is called a Unicode one.
bool is_symbol_like(Bytes os2) {
    using Layout = Os2Layout;
    constexpr ByteOrder kFile = ByteOrder::File;
    if (read<Layout::kUnicodeRange1>(os2, kFile) == 0 && read<Layout::kUnicodeRange2>(os2, kFile) == 0x10000000 &&
        read<Layout::kUnicodeRange3>(os2, kFile) == 0 && read<Layout::kUnicodeRange4>(os2, kFile) == 0) {
        return true;
    }
    const WORD first = read<Layout::kFirstChar>(os2, kFile), last = read<Layout::kLastChar>(os2, kFile);
    return first >= 0xF000 && first <= 0xF2FF && last >= 0xF000 && last <= 0xF2FF && first >> 8 == last >> 8;
}

UINT code_page_of_os2(Bytes os2, ByteOrder order) {
    if (read<Os2Layout::kCodePageRange2>(os2, order) != 0) return 0;
    const DWORD range = read<Os2Layout::kCodePageRange1>(os2, order);
    const auto found = std::ranges::find(kCodePageBits, range, &CodePageBit::bit);
    return found != std::end(kCodePageBits) ? found->code_page : 0;
}

UINT code_page_of_cmap(const CmapTable& cmap) {
    UINT agreed = 0;
    for (DWORD i = 0; i < cmap.count(); ++i) {
        const CmapRecord record = cmap.record(i);
        UINT code_page = 0;
        if (record.platform == kPlatformMacintosh && record.encoding) code_page = macintosh_code_page(record.encoding);
        if (record.platform == kPlatformWindows) code_page = windows_encoding(record.encoding).code_page;
        if (code_page && agreed && code_page != agreed) return 0;
        if (code_page) agreed = code_page;
    }
    return agreed;
}

struct FontTables {
    Bytes os2, name, cmap;
    bool complete = false;  // name and cmap are there and lie within the file
};

FontTables find_tables(Bytes file) {
    FontTables tables;
    const SfntDirectory directory(file, ByteOrder::File);
    bool has_os2 = false, has_name = false, has_cmap = false;
    for (DWORD i = 0; i < directory.count() && !(has_os2 && has_name && has_cmap); ++i) {
        const SfntEntry entry = directory.entry(i);
        if (entry.tag == tag("OS/2") && !std::exchange(has_os2, true)) tables.os2 = table_bytes(file, entry);
        if (entry.tag == tag("name") && !std::exchange(has_name, true)) tables.name = table_bytes(file, entry);
        if (entry.tag == tag("cmap") && !std::exchange(has_cmap, true)) tables.cmap = table_bytes(file, entry);
    }
    tables.complete = tables.name.data() && tables.cmap.data();
    return tables;
}

void read_encoding(const FontTables& tables, FontNames& found) {
    CmapRecord record;
    if (!find_windows_map(CmapTable(tables.cmap, ByteOrder::File), ByteOrder::File, &record)) return;
    found.encoding = record.encoding;
    found.legacy_cjk = is_legacy_cjk(record.encoding);
    found.encoding_code_page = windows_encoding(record.encoding).code_page;
    if (record.encoding == 0) {
        found.symbol = SymbolKind::SymbolEncoding;
    } else if (record.encoding == 1 && is_symbol_like(tables.os2)) {
        found.symbol = SymbolKind::SymbolLikeUnicode;
    }
}

BOOL read_names(const NameTable& table, FontNames& found) {
    const UINT ansi_code_page = GetACP();
    const NameContext context = {found.font_code_page, found.legacy_cjk, found.encoding_code_page};
    ReadBudget budget;
    for (DWORD i = 0; i < table.count(); ++i) {
        const NameRecord record = table.record(i);
        if (found.encoding != 0xFFFF && (record.platform != kPlatformWindows || record.encoding != found.encoding)) {
            continue;
        }
        if (!is_read_name(record.name) || !budget.take(ReadBudget::kName + record.length)) continue;
        NameText text;
        LANGID language = 0;
        const Decoded decoded = DecodeNameRecord(table, record, context, text, language);
        if (decoded == Decoded::NoMemory) return FALSE;
        if (decoded == Decoded::Text && !found.names.offer(record.name, text, language, ansi_code_page)) return FALSE;
    }
    return found.names.merge();
}

// Steps that one search may take over directory entries and name records: as many as the file has bytes, where a sound
// one needs a tenth, and some more for small ones. Members may share tables, so that a damaged collection could ask
// for the square of its size.
constexpr DWORD kFreeSearchSteps = 1 << 16;

struct FamilySearch {
    uint64_t steps_left;
    NameText face;

    bool step() { return steps_left && steps_left--; }
};

bool same_bytes(Bytes bytes, const char* text) {
    const size_t length = text ? std::strlen(text) : 0;
    return length && bytes.size() == length && std::memcmp(bytes.data(), text, length) == 0;
}

bool same_units(Bytes bytes, const WCHAR* text) {
    const size_t length = text_length(text);
    if (bytes.size() != 2 * length) return false;
    for (size_t i = 0; i < length; ++i) {
        if (load_u16(bytes.data() + 2 * i, ByteOrder::File) != static_cast<WORD>(text[i])) return false;
    }
    return true;
}

bool has_family(const NameTable& table, FamilySearch& search) {
    for (DWORD i = 0; i < table.count() && search.step(); ++i) {
        const NameRecord record = table.record(i);
        if (record.name != kNameFamily) continue;
        const Bytes bytes = table.text(record);
        if (record.platform == kPlatformMacintosh
                ? same_bytes(bytes, search.face.ansi())
                : (record.platform == kPlatformUnicode || record.platform == kPlatformWindows) &&
                      same_units(bytes, search.face.wide())) {
            return true;
        }
    }
    return false;
}

bool member_has_family(Bytes file, DWORD offset, FamilySearch& search) {
    KV_ASSERT(search.face.wide());
    if (offset >= file.size()) return false;
    const SfntDirectory directory(file.subspan(offset), ByteOrder::File);
    for (DWORD i = 0; i < directory.count() && search.step(); ++i) {
        const SfntEntry entry = directory.entry(i);
        if (entry.tag == tag("name")) return has_family(NameTable(table_bytes(file, entry), ByteOrder::File), search);
    }
    return false;
}

}  // namespace

LONG IsCollection(const void* data, DWORD size) {
    if (!data || size < 4) return -1;
    return begins_with({static_cast<const BYTE*>(data), size}, kCollectionTag) ? 1 : 0;
}

BOOL FontCodePage(std::span<const BYTE> os2, std::span<const BYTE> cmap, bool host_order, UINT* code_page) {
    const ByteOrder order = host_order ? ByteOrder::Host : ByteOrder::File;
    const bool knows = read<Os2Layout::kVersion>(os2, order) != 0;
    *code_page = knows ? code_page_of_os2(os2, order) : code_page_of_cmap(CmapTable(cmap, order));
    return *code_page != 0;
}

BOOL ReadFontNames(const void* data, DWORD size, FontNames& found) {
    found = FontNames();
    if (!data || size < kLeastFontSize || IsCollection(data, size) != 0) return FALSE;
    const Bytes file(static_cast<const BYTE*>(data), size);
    const DWORD tables_declared = load<DirectoryLayout::kNumTables>(file.data(), ByteOrder::File);
    if (tables_declared * SfntDirectory::kEntrySize + SfntDirectory::kHeaderSize >= size) {
        return KV_FAIL(Fonts, "%u tables in %u bytes", static_cast<unsigned>(tables_declared),
                       static_cast<unsigned>(size));
    }
    const FontTables tables = find_tables(file);
    if (!tables.complete) return KV_FAIL(Fonts, "no names or no character map");
    FontCodePage(tables.os2, tables.cmap, false, &found.font_code_page);
    read_encoding(tables, found);
    return read_names(NameTable(tables.name, ByteOrder::File), found);
}

LONG find_collection_member(const void* data, DWORD size, const WCHAR* face_name) {
    if (!data || size < 16 || IsCollection(data, size) != 1) return -1;
    if (face_name && *face_name == WCHAR{'@'}) ++face_name;
    if (!face_name || !*face_name) return -1;
    FamilySearch search = {uint64_t{size} + kFreeSearchSteps, {}};
    if (!search.face.assign_wide(face_name) || !search.face.ensure_ansi()) return -1;
    const Bytes file(static_cast<const BYTE*>(data), size);
    const CollectionHeader header(file);
    for (DWORD i = 0; i < header.count() && search.steps_left; ++i) {
        if (!member_has_family(file, header.offset(i), search)) continue;
        KV_TRACE(Fonts, Info, "%s is member %u", TraceText(face_name).c_str(), static_cast<unsigned>(i));
        return static_cast<LONG>(i);
    }
    KV_TRACE(Fonts, Warning, "%s is no member of %u%s", TraceText(face_name).c_str(),
             static_cast<unsigned>(header.count()), search.steps_left ? "" : ", as far as was searched");
    return -1;
}

}  // namespace kv
