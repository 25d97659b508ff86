#include "tests/printhost/font_tables.h"

#include "tests/common/workspace.h"
#include "tests/fonts/font_builder.h"

namespace kvprint {
namespace {

size_t number(const FontBytes& font, size_t at, int bytes) {
    size_t value = 0;
    for (int i = 0; i < bytes; ++i) value = value << 8 | font.at(at + static_cast<size_t>(i));
    return value;
}

kv::test::Tables tables_of(const FontBytes& font, const std::vector<std::string>& tags) {
    kv::test::Tables tables;
    for (const std::string& tag : tags) tables.push_back({tag, table_of(font, tag)});
    return tables;
}

}  // namespace

FontBytes read_font(const char* path) { return kv::test::read_bytes(path); }

FontBytes table_of(const FontBytes& font, const std::string& tag) {
    for (size_t i = 0; i < number(font, 4, 2); ++i) {
        const size_t entry = 12 + 16 * i;
        if (std::string(&font[entry], &font[entry + 4]) != tag) continue;
        const auto begin = font.begin() + static_cast<ptrdiff_t>(number(font, entry + 8, 4));
        return {begin, begin + static_cast<ptrdiff_t>(number(font, entry + 12, 4))};
    }
    return {};
}

FontBytes with_tables(const FontBytes& font, const std::vector<std::string>& tags) {
    return kv::test::font(tables_of(font, tags));
}

FontBytes collection_with(const FontBytes& font, const std::vector<std::string>& tags) {
    return kv::test::collection({}, {tables_of(font, tags), {}});
}

}  // namespace kvprint
