#include "tests/kvprint/font_tables.h"

#include <fstream>
#include <iterator>

namespace kvprint {
namespace {

size_t number(const FontBytes& font, size_t at, int bytes) {
    size_t value = 0;
    for (int i = 0; i < bytes; ++i) value = value << 8 | font.at(at + static_cast<size_t>(i));
    return value;
}

void put(FontBytes& font, size_t value, int bytes) {
    for (int i = bytes - 1; i >= 0; --i) font.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

}  // namespace

FontBytes read_font(const char* path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

FontBytes table_of(const FontBytes& font, const std::string& tag) {
    for (size_t i = 0; i < number(font, 4, 2); ++i) {
        const size_t entry = 12 + 16 * i;
        if (std::string(font.begin() + static_cast<ptrdiff_t>(entry),
                        font.begin() + static_cast<ptrdiff_t>(entry) + 4) != tag) {
            continue;
        }
        const auto begin = font.begin() + static_cast<ptrdiff_t>(number(font, entry + 8, 4));
        return {begin, begin + static_cast<ptrdiff_t>(number(font, entry + 12, 4))};
    }
    return {};
}

FontBytes with_tables(const FontBytes& font, const std::vector<std::string>& tags) {
    FontBytes header, tables;
    put(header, 0x10000, 4);
    put(header, tags.size(), 2);
    put(header, 0, 6);
    for (const std::string& tag : tags) {
        const FontBytes table = table_of(font, tag);
        header.insert(header.end(), tag.begin(), tag.end());
        put(header, 0, 4);
        put(header, 12 + 16 * tags.size() + tables.size(), 4);
        put(header, table.size(), 4);
        tables.insert(tables.end(), table.begin(), table.end());
        tables.resize((tables.size() + 3) / 4 * 4);
    }
    header.insert(header.end(), tables.begin(), tables.end());
    return header;
}

}  // namespace kvprint
