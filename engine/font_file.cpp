#include "engine/font_file.h"

#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_ADVANCES_H
#include FT_OUTLINE_H
#include FT_TRUETYPE_TABLES_H

#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>

#include "engine/font_metrics.h"

namespace kv::engine {
namespace {

FT_Library library() {
    struct Library {
        FT_Library handle = nullptr;
        Library() {
            if (FT_Init_FreeType(&handle) != 0) throw std::runtime_error("FreeType does not start");
        }
        ~Library() { FT_Done_FreeType(handle); }
    };
    static Library one;
    return one.handle;
}

}  // namespace

// Reads without scaling, so that one reader serves a face at every size.
struct Face::Reader {
    FT_Face face = nullptr;
    bool has_map = false, is_symbol = false;

    ~Reader() {
        if (face) FT_Done_Face(face);
    }
    // The map that stands in the font, not one that FreeType derives from glyph names.
    void choose_map() {
        for (FT_Encoding wanted : {FT_ENCODING_UNICODE, FT_ENCODING_MS_SYMBOL}) {
            if (has_map || FT_Select_Charmap(face, wanted) != 0) continue;
            has_map = FT_Get_CMap_Format(face->charmap) >= 0;
            is_symbol = has_map && wanted == FT_ENCODING_MS_SYMBOL;
        }
    }
    // By the font's own map of Unicode characters, of a symbol font also by the characters below 0x100. 0: none.
    HGLYPH glyph_of(char32_t character) const {
        if (!has_map) return 0;
        HGLYPH glyph = FT_Get_Char_Index(face, character);
        if (!glyph && is_symbol && character < kSymbolCharacters) {
            glyph = FT_Get_Char_Index(face, kSymbolArea + character);
        }
        return glyph;
    }
    // Those of the basic plane, without character 0.
    std::map<char32_t, HGLYPH> mapped_characters() const {
        constexpr char32_t kPlaneEnd = 0x10000;
        std::map<char32_t, HGLYPH> mapped;
        if (!has_map) return mapped;
        FT_UInt glyph = 0;
        for (FT_ULong character = FT_Get_First_Char(face, &glyph); glyph != 0 && character < kPlaneEnd;
             character = FT_Get_Next_Char(face, character, &glyph)) {
            if (character > 0) mapped[static_cast<char32_t>(character)] = glyph;
        }
        for (char32_t character = 1; is_symbol && character < kSymbolCharacters; ++character) {
            if (const HGLYPH symbol = glyph_of(character)) mapped[character] = symbol;
        }
        return mapped;
    }

private:
    static constexpr char32_t kSymbolArea = 0xF000, kSymbolCharacters = 0x100;
};

Face::Face(std::unique_ptr<Reader> reader) : reader_(std::move(reader)) {
    reader_->choose_map();
    metrics_ = make_metrics(reader_->face, read_font_texts(reader_->face), reader_->is_symbol);
}

Face::~Face() = default;

HGLYPH Face::glyph_of(char32_t character) const { return reader_->glyph_of(character); }

LONG Face::advance(HGLYPH glyph) const {
    FT_Fixed units = 0;
    return FT_Get_Advance(reader_->face, glyph, FT_LOAD_NO_SCALE, &units) == 0 ? static_cast<LONG>(units) : 0;
}

InkBox Face::ink(HGLYPH glyph) const {
    if (FT_Load_Glyph(reader_->face, glyph, FT_LOAD_NO_SCALE) != 0) return {};
    FT_BBox box;
    FT_Outline_Get_CBox(&reader_->face->glyph->outline, &box);
    return {static_cast<LONG>(box.xMin), static_cast<LONG>(box.yMin), static_cast<LONG>(box.xMax),
            static_cast<LONG>(box.yMax)};
}

ULONG Face::glyph_count() const { return static_cast<ULONG>(reader_->face->num_glyphs); }

FD_GLYPHSET* Face::glyph_set() {
    if (glyph_set_.empty()) {
        std::vector<WCRUN> runs;
        for (const auto& [character, glyph] : reader_->mapped_characters()) {
            if (runs.empty() || runs.back().wcLow + runs.back().cGlyphs != static_cast<int>(character)) {
                runs.push_back({static_cast<WCHAR>(character), 0, nullptr});
            }
            ++runs.back().cGlyphs;
            handles_.push_back(glyph);
        }
        const size_t size = sizeof(FD_GLYPHSET) + runs.size() * sizeof(WCRUN);
        glyph_set_.resize(size / sizeof(uint64_t) + 1);
        auto* set = reinterpret_cast<FD_GLYPHSET*>(glyph_set_.data());
        set->cjThis = static_cast<ULONG>(size);
        set->cGlyphsSupported = static_cast<ULONG>(handles_.size());
        set->cRuns = static_cast<ULONG>(runs.size());
        HGLYPH* handle = handles_.data();
        WCRUN* target = set->awcrun;
        for (WCRUN& run : runs) {
            run.phg = handle;
            handle += run.cGlyphs;
            *target++ = run;
        }
    }
    return reinterpret_cast<FD_GLYPHSET*>(glyph_set_.data());
}

FontFile::FontFile(std::vector<BYTE> bytes) : bytes_(std::move(bytes)) {
    FT_Face probe = nullptr;
    if (FT_New_Memory_Face(library(), bytes_.data(), static_cast<FT_Long>(bytes_.size()), -1, &probe) != 0) {
        throw std::runtime_error("not a font that can be read");
    }
    faces_.resize(static_cast<size_t>(probe->num_faces));
    FT_Done_Face(probe);
}

std::shared_ptr<FontFile> FontFile::load(const std::string& host_path) {
    std::ifstream in(host_path, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + host_path);
    return std::make_shared<FontFile>(
        std::vector<BYTE>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()));
}

Face& FontFile::face(ULONG index) {
    auto& face = faces_.at(index);
    if (!face) {
        auto reader = std::make_unique<Face::Reader>();
        if (FT_New_Memory_Face(library(), bytes_.data(), static_cast<FT_Long>(bytes_.size()),
                               static_cast<FT_Long>(index), &reader->face) != 0) {
            throw std::runtime_error("not a face that can be read");
        }
        face = std::make_unique<Face>(std::move(reader));
    }
    return *face;
}

}  // namespace kv::engine
