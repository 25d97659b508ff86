#include "tests/common/font_builder.h"

#include "tests/fonts/font_builder.h"

namespace kv::test {
namespace {

int glyph_count(const FontPlan& plan) { return static_cast<int>(plan.glyphs.size()) + 1; }
int encoding(const FontPlan& plan) { return plan.symbol ? 0 : 1; }

// A segment a character.
Bytes make_cmap(const FontPlan& plan) {
    std::vector<Segment> segments;
    int glyph = 1;
    for (const auto& [character, advance] : plan.glyphs)
        segments.push_back({character, character, glyph++ - character, 0});
    return cmap({{3, encoding(plan), 0}}, {format4(segments)});
}

Bytes make_name(const FontPlan& plan) {
    std::vector<Name> names;
    for (const auto& [id, text] : {std::pair<int, std::u16string>{1, plan.family},
                                   {2, u"Regular"},
                                   {3, plan.unique},
                                   {4, plan.full},
                                   {6, plan.postscript}}) {
        names.push_back(windows_name(id, text, 0x409, encoding(plan)));
    }
    return name_table(names);
}

Bytes make_os2(const FontPlan& plan) {
    Big table;
    table.u16({1, plan.average_width, 400, 5, 0}).zeros(22 + 10);
    table.u32({plan.symbol ? 0 : 1, 0, 0, 0}).text("TEST");
    table.u16({0x40, plan.glyphs.front().first, plan.glyphs.back().first, 800, -200, 0, 800, 200});
    return table.u32({plan.symbol ? 0x80000000 : 1, 0}).bytes;
}

Bytes make_head() {
    Big table;
    table.u32({0x00010000, 0x00010000, 0, 0x5F0F3CF5}).u16({0, 1000}).zeros(16);
    return table.u16({0, -200, 1000, 800, 0, 8, 2, 0, 0}).bytes;
}

Bytes make_hmtx(const FontPlan& plan) {
    Big table;
    table.u16({500, 0});
    for (const auto& [character, advance] : plan.glyphs) table.u16({advance, 0});
    return table.bytes;
}

Tables make_tables(const FontPlan& plan) {
    const auto glyphs = static_cast<size_t>(glyph_count(plan));
    Tables tables = {
        {"OS/2", make_os2(plan)},
        {"cmap", make_cmap(plan)},
        {"glyf", Bytes(4)},
        {"head", make_head()},
        {"hhea", Big().u32({0x00010000}).u16({800, -200, 0, 1000}).zeros(22).u16({glyph_count(plan)}).bytes},
        {"hmtx", make_hmtx(plan)},
        {"loca", Bytes((glyphs + 1) * 2)},
        {"maxp", Big().u32({0x00010000}).u16({glyph_count(plan)}).zeros(26).bytes},
        {"name", make_name(plan)},
        {"post", Big().u32({0x00030000}).zeros(28).bytes}};
    if (plan.variable) tables.insert(tables.begin() + 2, {"fvar", Bytes(16)});
    return tables;
}

}  // namespace

Bytes build_font(const FontPlan& plan) { return font(make_tables(plan)); }

Bytes build_collection(const std::vector<FontPlan>& plans) {
    std::vector<Tables> members;
    for (const FontPlan& plan : plans) members.push_back(make_tables(plan));
    return collection({}, members);
}

}  // namespace kv::test
