// Any bytes as a font: nothing is read or written beyond them, and the way back to file order restores them.

#include "fonts/font_names.h"
#include "fonts/full_name_reader.h"
#include "support/text.h"
#include "tests/fuzz/fuzz_input.h"

namespace kv {
namespace {

volatile unsigned sink;

void use(const CTtf& font) {
    const TtfResults& found = font.results();
    unsigned sum = found.blank_space_glyph;
    for (DWORD code : {0x2Du, 0x41u, 0x7Fu, 0xADu, 0xE9u, 0x3042u, 0xF020u, 0xFFFFu, 0x10000u})
        sum += font.CharToGlyph(code);
    for (DWORD i = 0; i < found.glyph_name_count; ++i) sum += found.glyph_names[i][found.glyph_names[i][0]];
    if (found.left_side_bearings) sum += *found.left_side_bearings;
    if (found.format6.entry_count) sum += found.format6.glyphs[2 * found.format6.entry_count - 1];
    WCHAR unique[16];
    sum += static_cast<unsigned>(font.unique_identifier(unique, 16)) + static_cast<unsigned>(IsVariableFont(font));
    sink = sum;
}

void parse_and_restore(CTtf& font, const BYTE* data, size_t size) {
    const auto copy = exact_copy(data, size);
    if (!font.SetFontData(copy.get(), static_cast<DWORD>(size), FALSE)) return;
    for (int round = 0; round < 2; ++round) {
        font.ParseFont();
        use(font);
        for (ByteOrder order : {ByteOrder::File, ByteOrder::Host, ByteOrder::File}) font.SetByteOrder(order);
        if (round == 0) require(std::equal(data, data + size, copy.get()));
    }
    font.release();
    font.Reset();
}

// The same with two entries of the directory exchanged.
void collect_full_names(const BYTE* data, size_t size) {
    CTtfFullNameReader names;
    if (!names.LoadFromMemory(data, static_cast<DWORD>(size))) return;
    names.ParseFont();
    for (DWORD i = 1; i < names.full_name_count(); ++i) {
        require(compare_text_ignoring_case(names.full_name(i - 1), names.full_name(i)) < 0);
    }
    names.SetByteOrder(ByteOrder::File);
    const size_t behind =
        std::min<size_t>(size, size < 6 ? size
                                        : SfntDirectory::kHeaderSize +
                                              SfntDirectory::kEntrySize * size_t{load_u16(data + 4, ByteOrder::File)});
    require(std::equal(data + behind, data + size, names.image().begin() + static_cast<ptrdiff_t>(behind)));
}

}  // namespace
}  // namespace kv

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    kv::host::set_messages_quiet(true);
    kv::CTtf font;
    kv::parse_and_restore(font, data, size);
    kv::collect_full_names(data, size);
    return 0;
}
