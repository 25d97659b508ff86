#include "drawing/fonts.h"

#include <cstring>

namespace kvjob {
namespace {

const char* extension_of(Bytes font) {
    auto starts_with = [&](const char* tag) { return font.size() >= 4 && std::memcmp(font.data(), tag, 4) == 0; };
    return starts_with("ttcf") ? "ttc" : starts_with("OTTO") ? "otf" : "ttf";
}

std::string name_of(const FontFile& font) {
    char name[32];
    std::snprintf(name, sizeof name, "font-%08X.%s", font.id, extension_of(font.bytes));
    return name;
}

std::string style_of(const FontDefinition& font) {
    std::string style;
    if (font.italic) style += ", italic";
    if (font.underline) style += ", underlined";
    if (font.strike_out) style += ", struck out";
    if (font.escapement) style += ", turned by " + std::to_string(font.escapement / 10.0).substr(0, 5) + " degrees";
    return style;
}

void print_definition(const ListedFont& found, std::FILE* out) {
    const FontDefinition& font = found.definition;
    std::fprintf(out, "0x%X: height %d, weight %d%s, ", font.id, -font.height, font.weight, style_of(font).c_str());
    if (!font.file) {
        std::fprintf(out, "\"%s\"%s\n", font.face.c_str(), font.embedded() ? ", embedded without its member" : "");
        return;
    }
    std::fprintf(out, "file 0x%X", font.file->file);
    if (font.file->member) std::fprintf(out, ", member %d", *font.file->member);
    const std::string name = found.face ? '"' + found.face->family() + '"' : "which cannot be opened";
    std::fprintf(out, ", %s\n", name.c_str());
}

}  // namespace

void for_each_font(const JobMap& map, FontStore& fonts, const FontVisit& visit, Reports& reports) {
    std::vector<uint8_t> buffer;
    for (const Record& record : map.font_records()) {
        try {
            const Bytes body = map.body(record, buffer);
            if (type_info(record.type).body == Body::Font) {
                const FontDefinition font = read_font(body);
                visit(ListedFont{record.offset, font, fonts.face(font)});
            } else {
                const FontFile file = read_font_file(body);
                visit(ListedFontFile{record.offset, file, name_of(file)});
            }
        } catch (const BodyFault& fault) {
            reports.add(record.offset, type_info(record.type).name, fault.what());
        }
    }
    if (map.broken()) throw *map.broken();
}

void print_font(const std::variant<ListedFont, ListedFontFile>& found, std::FILE* out) {
    if (const auto* font = std::get_if<ListedFont>(&found)) return print_definition(*font, out);
    const FontFile& file = std::get<ListedFontFile>(found).file;
    std::fprintf(out, "file 0x%X: %zu bytes\n", file.id, file.bytes.size());
}

void extract_font(const ListedFontFile& found, const OpenOutput& open) {
    const std::unique_ptr<Output> out = open(found.name);
    out->write(found.file.bytes);
    out->finish();
}

}  // namespace kvjob
