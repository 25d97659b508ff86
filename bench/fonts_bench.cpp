// How many fonts a second the readers get through, beside FreeType opening the same fonts from memory and reading
// their names. The fonts are those below /usr/share/fonts, or below the folder that KV_FONTS names.

#include <benchmark/benchmark.h>
#include <ft2build.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <vector>

#include "fonts/font_names.h"
#include "fonts/full_name_reader.h"
#include "fonts/md5.h"
#include "fonts/ttc.h"
#include FT_FREETYPE_H
#include FT_SFNT_NAMES_H

namespace kv {
namespace {

using Bytes = std::vector<BYTE>;

struct Fonts {
    std::vector<Bytes> single, collections;
    size_t bytes = 0;  // of the single ones
};

const Fonts& fonts() {
    static const Fonts found = [] {
        Fonts list;
        const char* folder = std::getenv("KV_FONTS");
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder ? folder : "/usr/share/fonts")) {
            if (!entry.is_regular_file()) continue;
            std::ifstream in(entry.path(), std::ios::binary);
            Bytes file(std::istreambuf_iterator<char>(in), {});
            const auto size = static_cast<DWORD>(file.size());
            FontNames names;
            if (IsCollection(file.data(), size) == 1) {
                list.collections.push_back(std::move(file));
            } else if (ReadFontNames(file.data(), size, names)) {
                list.bytes += size;
                list.single.push_back(std::move(file));
            }
        }
        return list;
    }();
    return found;
}

// All single fonts in each iteration.
template <class Read>
void read_each(benchmark::State& state, Read read) {
    if (fonts().single.empty()) return state.SkipWithError("no fonts");
    for ([[maybe_unused]] auto _ : state) {
        for (const Bytes& file : fonts().single) {
            if (!read(file)) return state.SkipWithError("not read");
        }
    }
    const auto rounds = static_cast<int64_t>(state.iterations());
    state.SetItemsProcessed(rounds * static_cast<int64_t>(fonts().single.size()));
    state.SetBytesProcessed(rounds * static_cast<int64_t>(fonts().bytes));
    state.SetLabel(std::to_string(fonts().single.size()) + " fonts");
}

// As for each font that text is printed in.
void NamesInPlace(benchmark::State& state) {
    read_each(state, [](const Bytes& file) {
        FontNames names;
        return ReadFontNames(file.data(), static_cast<DWORD>(file.size()), names);
    });
}
BENCHMARK(NamesInPlace);

// As for each installed font when the font cache is built, and the bytes back in file order.
void ParseCopy(benchmark::State& state) {
    read_each(state, [](const Bytes& file) {
        CTtf font;
        const BOOL parsed = font.LoadFromMemory(file.data(), static_cast<DWORD>(file.size())) && font.ParseFont();
        font.SetByteOrder(ByteOrder::File);
        return parsed;
    });
}
BENCHMARK(ParseCopy);

// As for the decision whether a font must be embedded.
void FullNamesOfCopy(benchmark::State& state) {
    read_each(state, [](const Bytes& file) {
        CTtfFullNameReader font;
        return font.LoadFromMemory(file.data(), static_cast<DWORD>(file.size())) && font.ParseFont();
    });
}
BENCHMARK(FullNamesOfCopy);

void FreeTypeNames(benchmark::State& state) {
    FT_Library library = nullptr;
    FT_Init_FreeType(&library);
    read_each(state, [&](const Bytes& file) {
        FT_Face face = nullptr;
        if (FT_New_Memory_Face(library, file.data(), static_cast<FT_Long>(file.size()), 0, &face) != 0) return false;
        for (FT_UInt i = 0; i < FT_Get_Sfnt_Name_Count(face); ++i) {
            FT_SfntName name;
            FT_Get_Sfnt_Name(face, i, &name);
            benchmark::DoNotOptimize(name);
        }
        FT_Done_Face(face);
        return true;
    });
    FT_Done_FreeType(library);
}
BENCHMARK(FreeTypeNames);

// Members a second: the split, and each member parsed and restored.
void ParseCollectionMembers(benchmark::State& state) {
    if (fonts().collections.empty()) return state.SkipWithError("no collections");
    int64_t members = 0;
    for ([[maybe_unused]] auto _ : state) {
        for (const Bytes& file : fonts().collections) {
            Bytes copy = file;
            CTtc collection;
            collection.set_data(copy.data(), static_cast<DWORD>(copy.size()));
            for (CTtf* member = collection.first_member(); member; member = collection.next_member(), ++members) {
                if (!member->ParseFont()) return state.SkipWithError("not parsed");
                member->SetByteOrder(ByteOrder::File);
            }
        }
    }
    state.SetItemsProcessed(members);
}
BENCHMARK(ParseCollectionMembers);

void Digest(benchmark::State& state) {
    const Bytes data(1 << 20, 0x5A);
    for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(md5(data));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) << 20);
}
BENCHMARK(Digest);

}  // namespace
}  // namespace kv
