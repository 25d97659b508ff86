#include "tests/common/font_builder.h"

#include <map>

namespace kv::test {
namespace {

class Table {
public:
    Table& u16(std::initializer_list<int> values) {
        for (int value : values) bytes.insert(bytes.end(), {static_cast<BYTE>(value >> 8), static_cast<BYTE>(value)});
        return *this;
    }
    Table& u32(std::initializer_list<uint32_t> values) {
        for (uint32_t value : values) u16({static_cast<int>(value >> 16), static_cast<int>(value & 0xFFFF)});
        return *this;
    }
    Table& zeros(size_t count) {
        bytes.resize(bytes.size() + count);
        return *this;
    }
    Table& text(const std::u16string& units) {
        for (char16_t unit : units) u16({unit});
        return *this;
    }
    std::vector<BYTE> bytes;
};

int glyph_count(const FontPlan& plan) { return static_cast<int>(plan.glyphs.size()) + 1; }

// Format 4, one segment a character.
Table make_cmap(const FontPlan& plan) {
    const int segments = glyph_count(plan), length = 16 + 8 * segments;
    Table table;
    table.u16({0, 1, 3, plan.symbol ? 0 : 1}).u32({12});
    table.u16({4, length, 0, segments * 2, 0, 0, 0});
    for (const auto& [character, advance] : plan.glyphs) table.u16({character});
    table.u16({0xFFFF, 0});
    for (const auto& [character, advance] : plan.glyphs) table.u16({character});
    table.u16({0xFFFF});
    int glyph = 1;
    for (const auto& [character, advance] : plan.glyphs) table.u16({glyph++ - character});
    table.u16({1});
    return table.zeros(static_cast<size_t>(segments) * 2);
}

Table make_name(const FontPlan& plan) {
    const std::pair<int, std::u16string> names[] = {
        {1, plan.family}, {2, u"Regular"}, {3, plan.unique}, {4, plan.full}, {6, plan.postscript}};
    Table table, storage;
    table.u16({0, 5, 6 + 5 * 12});
    for (const auto& [id, text] : names) {
        table.u16({3, plan.symbol ? 0 : 1, 0x409, id, static_cast<int>(text.size() * 2),
                   static_cast<int>(storage.bytes.size())});
        storage.text(text);
    }
    table.bytes.insert(table.bytes.end(), storage.bytes.begin(), storage.bytes.end());
    return table;
}

Table make_os2(const FontPlan& plan) {
    Table table;
    table.u16({1, plan.average_width, 400, 5, 0}).zeros(22).zeros(10);
    table.u32({plan.symbol ? 0u : 1u, 0, 0, 0, 0x54455354});
    table.u16({0x40, plan.glyphs.front().first, plan.glyphs.back().first, 800, -200, 0, 800, 200});
    return table.u32({plan.symbol ? 0x80000000u : 1u, 0});
}

Table make_head() {
    Table table;
    table.u32({0x00010000, 0x00010000, 0, 0x5F0F3CF5}).u16({0, 1000}).zeros(16);
    return table.u16({0, -200, 1000, 800, 0, 8, 2, 0, 0});
}

Table make_hhea(const FontPlan& plan) {
    Table table;
    table.u32({0x00010000}).u16({800, -200, 0, 1000}).zeros(22);
    return table.u16({glyph_count(plan)});
}

Table make_hmtx(const FontPlan& plan) {
    Table table;
    table.u16({500, 0});
    for (const auto& [character, advance] : plan.glyphs) table.u16({advance, 0});
    return table;
}

std::map<std::string, Table> make_tables(const FontPlan& plan) {
    std::map<std::string, Table> tables;  // a directory is sorted by tag
    tables["OS/2"] = make_os2(plan);
    tables["cmap"] = make_cmap(plan);
    tables["glyf"] = Table().zeros(4);
    tables["head"] = make_head();
    tables["hhea"] = make_hhea(plan);
    tables["hmtx"] = make_hmtx(plan);
    tables["loca"] = Table().zeros(static_cast<size_t>(glyph_count(plan) + 1) * 2);
    tables["maxp"] = Table().u32({0x00010000}).u16({glyph_count(plan)}).zeros(26);
    tables["name"] = make_name(plan);
    tables["post"] = Table().u32({0x00030000}).zeros(28);
    if (plan.variable) tables["fvar"] = Table().zeros(16);
    if (!plan.salt.empty()) tables["zzzz"].bytes.assign(plan.salt.begin(), plan.salt.end());
    return tables;
}

// Appends the font at a multiple of four; its directory counts from the file's start.
uint32_t append_font(Table& file, const FontPlan& plan) {
    const auto tables = make_tables(plan);
    const auto start = static_cast<uint32_t>(file.bytes.size());
    Table data;
    uint32_t at = start + 12 + 16 * static_cast<uint32_t>(tables.size());
    file.u32({0x00010000}).u16({static_cast<int>(tables.size()), 0, 0, 0});
    for (const auto& [tag, table] : tables) {
        file.bytes.insert(file.bytes.end(), tag.begin(), tag.end());
        const size_t size = table.bytes.size(), padded = (size + 3) & ~size_t{3};
        file.u32({0, at, static_cast<uint32_t>(size)});
        data.bytes.insert(data.bytes.end(), table.bytes.begin(), table.bytes.end());
        data.zeros(padded - size);
        at += static_cast<uint32_t>(padded);
    }
    file.bytes.insert(file.bytes.end(), data.bytes.begin(), data.bytes.end());
    return start;
}

}  // namespace

std::vector<BYTE> build_font(const FontPlan& plan) {
    Table file;
    append_font(file, plan);
    return file.bytes;
}

std::vector<BYTE> build_collection(const std::vector<FontPlan>& plans) {
    Table file;
    file.u32({0x74746366, 0x00010000, static_cast<uint32_t>(plans.size())});  // "ttcf"
    const size_t offsets = file.bytes.size();
    file.zeros(plans.size() * 4);
    for (size_t i = 0; i < plans.size(); ++i) {
        Table offset;
        offset.u32({append_font(file, plans[i])});
        std::copy(offset.bytes.begin(), offset.bytes.end(),
                  file.bytes.begin() + static_cast<ptrdiff_t>(offsets + 4 * i));
    }
    return file.bytes;
}

}  // namespace kv::test
