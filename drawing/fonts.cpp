#include "drawing/fonts.h"

#include <cstring>

#include "drawing/font_store.h"

namespace kvjob {
namespace {

const char* extension_of(Bytes font) {
    auto starts_with = [&](const char* tag) { return font.size() >= 4 && std::memcmp(font.data(), tag, 4) == 0; };
    return starts_with("ttcf") ? "ttc" : starts_with("OTTO") ? "otf" : "ttf";
}

void store(const FontFile& font, const OpenOutput& open) {
    char name[32];
    std::snprintf(name, sizeof name, "font-%08X.%s", font.id, extension_of(font.bytes));
    const std::unique_ptr<Output> out = open(name);
    out->write(font.bytes);
    out->finish();
}

std::string style_of(const FontDefinition& font) {
    std::string style;
    if (font.italic) style += ", italic";
    if (font.underline) style += ", underlined";
    if (font.strike_out) style += ", struck out";
    if (font.escapement) style += ", turned by " + std::to_string(font.escapement / 10.0).substr(0, 5) + " degrees";
    return style;
}

void print_definition(const FontDefinition& font, FontStore& store, std::FILE* out) {
    std::fprintf(out, "0x%X: height %d, weight %d%s, ", font.id, -font.height, font.weight, style_of(font).c_str());
    if (!font.file) {
        std::fprintf(out, "\"%s\"%s\n", font.face.c_str(), font.embedded() ? ", embedded without its member" : "");
        return;
    }
    const std::shared_ptr<Face> face = store.face(font);
    std::fprintf(out, "file 0x%X", font.file->file);
    if (font.file->member) std::fprintf(out, ", member %d", *font.file->member);
    const std::string name = face ? '"' + face->family() + '"' : "which cannot be opened";
    std::fprintf(out, ", %s\n", name.c_str());
}

}  // namespace

void list_fonts(Bytes file, const OpenOutput& open, std::FILE* out, Reports& reports) {
    const JobMap map(file);
    FontStore fonts(map);
    std::vector<uint8_t> buffer;
    for (const Record& record : map.font_records()) {
        try {
            const Bytes body = body_of(record, buffer);
            if (type_info(record.type).body == Body::Font) {
                print_definition(read_font(body), fonts, out);
                continue;
            }
            const FontFile font = read_font_file(body);
            std::fprintf(out, "file 0x%X: %zu bytes\n", font.id, font.bytes.size());
            if (open) store(font, open);
        } catch (const BodyFault& fault) {
            reports.add(record.offset, type_info(record.type).name, fault.what());
        }
    }
    if (map.broken()) throw *map.broken();
}

}  // namespace kvjob
