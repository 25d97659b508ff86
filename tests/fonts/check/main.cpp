// check_fonts FOLDER...: compares the names and characters that the font readers find in every font below the folders
// with FreeType's. One line a folder; exits 1 when a difference has no explanation.

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>

#include "tests/common/workspace.h"
#include "tests/fonts/freetype_names.h"

namespace {

namespace fs = std::filesystem;

bool is_font(const fs::path& path) {
    std::string extension = path.extension().string();
    std::ranges::transform(extension, extension.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension == ".ttf" || extension == ".otf" || extension == ".ttc" || extension == ".otc";
}

std::vector<fs::path> fonts_below(const fs::path& folder) {
    std::vector<fs::path> fonts;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file() && !entry.is_symlink() && is_font(entry.path())) fonts.push_back(entry.path());
    }
    std::ranges::sort(fonts);
    return fonts;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: check_fonts FOLDER...\n");
        return 2;
    }
    size_t faults = 0;
    std::printf("%-28s %6s %6s %8s %8s %10s %7s\n", "folder", "files", "faces", "records", "names", "characters",
                "faults");
    for (int i = 1; i < argc; ++i) {
        const fs::path folder = argv[i];
        kv::test::FontComparison result;
        const std::vector<fs::path> fonts = fonts_below(folder);
        for (const fs::path& path : fonts) {
            kv::test::compare_with_freetype(kv::test::read_bytes(path), path.filename().string(), result);
        }
        std::printf("%-28s %6zu %6zu %8zu %8zu %10zu %7zu\n", folder.filename().c_str(), fonts.size(), result.faces,
                    result.records, result.names, result.characters, result.faults.size());
        for (const auto& [why, count] : result.explained) std::printf("    %6zu  %s\n", count, why.c_str());
        for (const std::string& fault : result.faults) std::printf("    FAULT   %s\n", fault.c_str());
        std::fflush(stdout);
        faults += result.faults.size() + (fonts.empty() ? 1 : 0);
    }
    return faults == 0 ? 0 : 1;
}
