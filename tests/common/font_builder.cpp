#include "tests/common/font_builder.h"

#include "tests/fonts/font_builder.h"

namespace kv::test {
namespace {

Tables make_tables(const FontPlan& plan) {
    const int glyphs = static_cast<int>(plan.glyphs.size()) + 1, encoding = plan.symbol ? 0 : 1;
    std::vector<Segment> segments;  // one a character
    Big metrics, os2;
    metrics.u16({500, 0});
    for (int glyph = 1; const auto& [character, advance] : plan.glyphs) {
        segments.push_back({character, character, glyph++ - character, 0});
        metrics.u16({advance, 0});
    }
    std::vector<Name> names;
    for (const auto& [id, text] : {std::pair<int, std::u16string>{1, plan.family},
                                   {2, u"Regular"},
                                   {3, plan.unique},
                                   {4, plan.full},
                                   {6, plan.postscript}}) {
        names.push_back(windows_name(id, text, 0x409, encoding));
    }
    os2.u16({1, plan.average_width, 400, 5, 0}).zeros(22 + 10).u32({plan.symbol ? 0 : 1, 0, 0, 0}).text("TEST");
    os2.u16({0x40, plan.glyphs.front().first, plan.glyphs.back().first, 800, -200, 0, 800, 200});
    Tables tables = {{"OS/2", os2.u32({plan.symbol ? 0x80000000 : 1, 0})},
                     {"cmap", cmap({{3, encoding, 0}}, {format4(segments)})},
                     {"glyf", Bytes(4)},
                     {"head", Big()
                                  .u32({0x00010000, 0x00010000, 0, 0x5F0F3CF5})
                                  .u16({0, 1000})
                                  .zeros(16)
                                  .u16({0, -200, 1000, 800, 0, 8, 2, 0, 0})},
                     {"hhea", Big().u32({0x00010000}).u16({800, -200, 0, 1000}).zeros(22).u16({glyphs})},
                     {"hmtx", metrics},
                     {"loca", Bytes(static_cast<size_t>(glyphs + 1) * 2)},
                     {"maxp", Big().u32({0x00010000}).u16({glyphs}).zeros(26)},
                     {"name", name_table(names)},
                     {"post", Big().u32({0x00030000}).zeros(28)}};
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
