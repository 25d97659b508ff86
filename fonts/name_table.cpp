#include "fonts/name_table.h"

#include <algorithm>

#include "fonts/cmap_table.h"
#include "fonts/encodings.h"
#include "fonts/index_ranges.h"
#include "fonts/table_layout.h"
#include "support/assert.h"

namespace kv {
namespace {

constexpr UINT kLatin1 = 1252, kBig5 = 950;
constexpr LANGID kEnglishUnitedStates = 0x409, kChineseTaiwan = 0x404;

bool has_utf16(const NameRecord& record) {
    return record.platform == kPlatformUnicode || record.platform == kPlatformWindows;
}

// Big5 bytes that stand one in each 16-bit unit.
Decoded read_narrow_units(std::span<const BYTE> bytes, ByteOrder order, NameText& text) {
    if (bytes.size() % 2 != 0) return Decoded::Nothing;
    const size_t count = bytes.size() / 2;
    HeapArray<char> narrow;
    if (!narrow.alloc(count + 1, kQuietly)) return Decoded::NoMemory;
    for (size_t i = 0; i < count; ++i) {
        const WORD unit = load_u16(bytes.data() + 2 * i, order);
        if (unit > 0xFF) return Decoded::Nothing;
        narrow[i] = static_cast<char>(unit);
    }
    text.adopt_ansi(std::move(narrow), kBig5);
    return Decoded::Text;
}

Decoded read_bytes(std::span<const BYTE> bytes, UINT code_page, NameText& text) {
    HeapArray<char> copy;
    if (!copy.alloc(bytes.size() + 1, kQuietly)) return Decoded::NoMemory;
    std::copy(bytes.begin(), bytes.end(), copy.get());
    text.adopt_ansi(std::move(copy), code_page);
    return Decoded::Text;
}

Decoded decode_macintosh(const NameTable& table, const NameRecord& record, const NameContext& context, NameText& text,
                         LANGID& language) {
    const std::span<const BYTE> bytes = table.text(record);
    UINT code_page = record.encoding ? macintosh_code_page(record.encoding) : 0;
    if (code_page == 0) code_page = context.font_code_page;
    language = macintosh_language(record.language);
    if (std::ranges::find(bytes, 0) != bytes.end()) {
        if (code_page != kBig5 || language != kChineseTaiwan) return Decoded::Nothing;
        return read_narrow_units(bytes, ByteOrder::File, text);
    }
    const bool printable = std::ranges::all_of(bytes, [](BYTE byte) { return byte >= 32 && byte <= 126; });
    if (!printable && (code_page == 0 || code_page == kLatin1)) return Decoded::Nothing;
    return read_bytes(bytes, code_page ? code_page : kLatin1, text);
}

Decoded decode_utf16(const NameTable& table, const NameRecord& record, const NameContext& context, NameText& text,
                     LANGID& language) {
    const std::span<const BYTE> bytes = table.text(record);
    language = record.language;
    if (context.legacy_cjk && context.cmap_code_page == kBig5 && language == kChineseTaiwan) {
        return read_narrow_units(bytes, table.order(), text);
    }
    const size_t count = bytes.size() / 2;
    HeapArray<WCHAR> units;
    if (!units.alloc(count + 1, kQuietly)) return Decoded::NoMemory;
    for (size_t i = 0; i < count; ++i) units[i] = static_cast<WCHAR>(load_u16(bytes.data() + 2 * i, table.order()));
    text.adopt_wide(std::move(units),
                    record.platform == kPlatformWindows ? windows_encoding(record.encoding).code_page : 0);
    return Decoded::Text;
}

// Legacy fonts call every name American English: a text of another script has the language of its code page.
Decoded correct_language(const NameText& text, LANGID& language) {
    if (language != kEnglishUnitedStates || text.code_page() == 0 || text.code_page() == kLatin1) return Decoded::Text;
    const LANGID likely = language_of_code_page(text.code_page());
    const Fits fits = fits_code_page(text, kLatin1);
    if (fits == Fits::No && likely) language = likely;
    return fits == Fits::NoMemory ? Decoded::NoMemory : Decoded::Text;
}

}  // namespace

static_assert(NameTable::kHeaderSize == kSizeOf<NameLayout> && NameTable::kRecordSize == kSizeOf<NameRecordLayout>);

NameTable::NameTable(std::span<const BYTE> bytes, ByteOrder order) : bytes_(bytes), order_(order) {
    if (bytes.size() < kHeaderSize) return;
    count_ = static_cast<DWORD>(
        std::min<size_t>(load<NameLayout::kCount>(bytes.data(), order), (bytes.size() - kHeaderSize) / kRecordSize));
    storage_ = load<NameLayout::kStorage>(bytes.data(), order);
}

NameRecord NameTable::record(DWORD index) const {
    using Layout = NameRecordLayout;
    KV_ASSERT(index < count_);
    const BYTE* at = bytes_.data() + kHeaderSize + index * kRecordSize;
    return {load<Layout::kPlatform>(at, order_), load<Layout::kEncoding>(at, order_),
            load<Layout::kLanguage>(at, order_), load<Layout::kName>(at, order_),
            load<Layout::kLength>(at, order_),   load<Layout::kOffset>(at, order_)};
}

std::span<const BYTE> NameTable::text(const NameRecord& record) const {
    const DWORD start = storage_ + record.offset;
    if (record.offset & 0x8000 || start < kHeaderSize + count_ * kRecordSize) return {};
    return part_of(bytes_, start, record.length);
}

void swap_name_table(std::span<BYTE> bytes, ByteOrder from) {
    if (bytes.size() < NameTable::kHeaderSize) return;
    const NameTable table(bytes, from);
    BYTE* storage = bytes.data() + std::min<size_t>(table.storage(), bytes.size());
    for_each_merged_range(
        table.count(),
        [&](DWORD i) {
            const NameRecord record = table.record(i);
            const bool counts = has_utf16(record) && !table.text(record).empty();
            return counts ? IndexRange{record.offset, record.length} : IndexRange{0, 0};
        },
        [&](DWORD start, DWORD end) {
            KV_ASSERT(start < end && storage + end <= bytes.data() + bytes.size());
            swap_u16(storage + start, (end - start) / 2);
        });
    static_assert(is_words(NameLayout::kFields) && is_words(NameRecordLayout::kFields));  // in one go, then
    swap_u16(bytes.data(), (NameTable::kHeaderSize + table.count() * NameTable::kRecordSize) / 2);
}

Decoded DecodeNameRecord(const NameTable& table, const NameRecord& record, const NameContext& context, NameText& text,
                         LANGID& language) {
    if (table.text(record).empty()) return Decoded::Nothing;
    Decoded result = Decoded::Nothing;
    if (record.platform == kPlatformMacintosh) {
        result = decode_macintosh(table, record, context, text, language);
    } else if (has_utf16(record)) {
        result = decode_utf16(table, record, context, text, language);
    }
    if (result != Decoded::Text) return result;
    return text.empty() ? Decoded::Nothing : correct_language(text, language);
}

}  // namespace kv
