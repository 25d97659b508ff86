// font_seeds KIND OUTPUT FOLDER...: cuts the fonts below the folders down to what the readers read and writes seeds
// for the fuzz target KIND (ttf, ttc, font_names, font_member) into OUTPUT.

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <string>

#include "fonts/sfnt.h"
#include "tests/common/workspace.h"
#include "tests/fonts/font_builder.h"

namespace {

namespace fs = std::filesystem;
using namespace kv;
using namespace kv::test;

// The longest piece of each table that is kept.
const std::map<std::string, size_t> kKept = {{"OS/2", 100},  {"cmap", 3000}, {"glyf", 16}, {"head", 54},
                                             {"hhea", 36},   {"hmtx", 64},   {"loca", 64}, {"maxp", 32},
                                             {"name", 6000}, {"post", 600},  {"fvar", 4},  {"CFF ", 4}};

Tables tables_at(const Bytes& file, DWORD start) {
    Tables tables;
    const SfntDirectory directory(std::span<const BYTE>(file).subspan(start), ByteOrder::File);
    for (DWORD i = 0; i < directory.count(); ++i) {
        const SfntEntry entry = directory.entry(i);
        std::string name;
        for (int shift : {24, 16, 8, 0}) name += static_cast<char>(entry.tag >> shift);
        const auto kept = kKept.find(name);
        const auto bytes = part_of(std::span<const BYTE>(file), static_cast<DWORD>(entry.offset), entry.length);
        if (kept == kKept.end() || bytes.empty()) continue;
        const auto piece = bytes.first(std::min(bytes.size(), kept->second));
        tables.push_back({name, Bytes(piece.begin(), piece.end())});
    }
    return tables;
}

// The members share the tables of the first one and have a map of their own.
Bytes seed(const std::string& kind, const std::vector<Tables>& faces, const Tables& tables) {
    if (kind == "ttf" || kind == "font_names") return font(tables);
    std::vector<Tables> members;
    for (const Tables& face : faces) {
        Tables own;
        std::ranges::copy_if(face, std::back_inserter(own), [](const auto& t) { return t.first == "cmap"; });
        members.push_back(own);
    }
    Tables shared;
    std::ranges::copy_if(tables, std::back_inserter(shared), [](const auto& t) { return t.first != "cmap"; });
    Big out;
    if (kind == "font_member") out.u8({4}).u16({'S', 'a', 'n', 's'});
    return out.add(collection(shared, members)).bytes;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        std::fprintf(stderr, "usage: font_seeds KIND OUTPUT FOLDER...\n");
        return 2;
    }
    const std::string kind = argv[1];
    size_t count = 0;
    for (int i = 3; i < argc; ++i) {
        if (!fs::is_directory(argv[i])) continue;
        for (const auto& entry : fs::recursive_directory_iterator(argv[i])) {
            const std::string extension = entry.path().extension().string();
            if (extension != ".ttf" && extension != ".otf" && extension != ".ttc") continue;
            const Bytes file = read_bytes(entry.path());
            std::vector<Tables> faces;
            const CollectionHeader header(file);
            const bool is_collection = begins_with(file, tag("ttcf"));
            for (DWORD m = 0; m < (is_collection ? header.count() : 1); ++m) {
                faces.push_back(tables_at(file, is_collection ? header.offset(m) : 0));
            }
            if (faces.size() == 1) faces.push_back(faces[0]);
            const Bytes bytes = seed(kind, faces, faces[0]);
            write_file(fs::path(argv[2]) / entry.path().filename(), bytes);
            ++count;
        }
    }
    std::printf("%zu seeds\n", count);
    return 0;
}
