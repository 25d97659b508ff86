#include "drawing/font_store.h"

#include FT_TRUETYPE_TABLES_H

#include <algorithm>
#include <cstdlib>

#include "drawing/glyph_names.h"
#include "drawing/system_fonts.h"
#include "reader/utf.h"

namespace kvjob {
namespace {

const TT_OS2* os2_of(FT_Face face) {
    const auto* table = static_cast<const TT_OS2*>(FT_Get_Sfnt_Table(face, FT_SFNT_OS2));
    return table && table->version != 0xFFFF ? table : nullptr;
}

}  // namespace

std::shared_ptr<Face> Face::open(Library library, Bytes bytes, std::vector<uint8_t> storage, int32_t member) {
    auto face = std::make_shared<Face>(Key(), std::move(library), std::move(storage));
    if (!face->storage_.empty()) bytes = face->storage_;
    const auto size = static_cast<FT_Long>(bytes.size());
    if (FT_New_Memory_Face(face->library_.get(), bytes.data(), size, member, &face->face_) != 0) return nullptr;
    face->choose_map();
    return face;
}

std::shared_ptr<Face> Face::open(Library library, const std::string& path, int32_t member) {
    auto face = std::make_shared<Face>(Key(), std::move(library), std::vector<uint8_t>());
    if (FT_New_Face(face->library_.get(), path.c_str(), member, &face->face_) != 0) return nullptr;
    face->choose_map();
    return face;
}

Face::~Face() {
    if (face_) FT_Done_Face(face_);
}

// A Unicode map is chosen already where there is one.
void Face::choose_map() {
    if (face_->charmap) return;
    if (FT_Select_Charmap(face_, FT_ENCODING_MS_SYMBOL) == 0) return;
    if (face_->num_charmaps > 0) FT_Set_Charmap(face_, face_->charmaps[0]);
}

bool Face::bold() const {
    constexpr int kBoldWeight = 600;
    const TT_OS2* os2 = os2_of(face_);
    return (face_->style_flags & FT_STYLE_FLAG_BOLD) || (os2 && os2->usWeightClass >= kBoldWeight);
}

bool Face::italic() const {
    const TT_OS2* os2 = os2_of(face_);
    return (face_->style_flags & FT_STYLE_FLAG_ITALIC) || (os2 && (os2->fsSelection & 1));
}

uint32_t Face::glyph_of(uint32_t character) const {
    constexpr uint32_t kSymbols = 0xF000;
    const uint32_t glyph = FT_Get_Char_Index(face_, character);
    const bool symbol = face_->charmap && face_->charmap->encoding == FT_ENCODING_MS_SYMBOL;
    return glyph == 0 && symbol && character < 0x100 ? FT_Get_Char_Index(face_, kSymbols | character) : glyph;
}

uint32_t Face::character_of(uint32_t glyph) {
    if (characters_.empty()) {
        FT_UInt found = 0;
        for (FT_ULong code = FT_Get_First_Char(face_, &found); found != 0;
             code = FT_Get_Next_Char(face_, code, &found)) {
            characters_.emplace(found, static_cast<uint32_t>(code));
        }
        characters_.emplace(0, 0);
    }
    const auto found = characters_.find(glyph);
    return found == characters_.end() ? 0 : found->second;
}

std::u32string Face::text_of(uint32_t glyph) {
    if (const uint32_t character = character_of(glyph)) return {static_cast<char32_t>(character)};
    char name[128] = "";
    if (!FT_HAS_GLYPH_NAMES(face_) || FT_Get_Glyph_Name(face_, glyph, name, sizeof name) != 0) return {};
    return text_of_glyph_name(name, [this](const std::string& part) {
        const FT_UInt named = FT_Get_Name_Index(face_, part.c_str());
        return named ? character_of(named) : 0;
    });
}

void Face::append_text(std::string& text, uint32_t character, uint32_t glyph) {
    const std::u32string known = character ? std::u32string{static_cast<char32_t>(character)} : text_of(glyph);
    if (known.empty()) append_utf8(text, kUnknownCharacter);
    for (const char32_t each : known) append_utf8(text, each);
}

Face::Glyph Face::measure(uint32_t glyph) const {
    if (glyph >= static_cast<uint32_t>(face_->num_glyphs) || FT_Load_Glyph(face_, glyph, FT_LOAD_NO_SCALE) != 0) {
        return {};
    }
    const auto advance = static_cast<double>(face_->glyph->metrics.horiAdvance);
    return {FT_IS_SCALABLE(face_) != 0, face_->units_per_EM ? advance / face_->units_per_EM : 0};
}

const Face::Glyph& Face::measured(uint32_t glyph) {
    const auto known = glyphs_.find(glyph);
    return known != glyphs_.end() ? known->second : glyphs_.emplace(glyph, measure(glyph)).first->second;
}

double Face::ascent() const {
    return face_->units_per_EM ? static_cast<double>(face_->ascender) / face_->units_per_EM : 0;
}

double Face::descent() const {
    return face_->units_per_EM ? -static_cast<double>(face_->descender) / face_->units_per_EM : 0;
}

double Face::average_width() const {
    const TT_OS2* os2 = os2_of(face_);
    if (!os2 || os2->xAvgCharWidth <= 0 || face_->units_per_EM == 0) return 0;
    return static_cast<double>(os2->xAvgCharWidth) / face_->units_per_EM;
}

FontStore::FontStore(const JobMap& map) : map_(map) {
    FT_Library library = nullptr;
    if (FT_Init_FreeType(&library) != 0) throw std::bad_alloc();
    library_ = Face::Library(library, [](FT_Library done) { FT_Done_FreeType(done); });
}

const FontDefinition& FontStore::definition(uint32_t id) {
    const auto known = definitions_.find(id);
    if (known != definitions_.end()) return known->second;
    const Record* record = map_.font(id);
    if (!record) throw BodyFault("a font that was not introduced");
    std::vector<uint8_t> buffer;
    return definitions_.emplace(id, read_font(map_.body(*record, buffer))).first->second;
}

std::shared_ptr<Face> FontStore::face(const FontDefinition& font) {
    auto known = sources_.find(font.id);
    if (known == sources_.end()) known = sources_.emplace(font.id, source_of(font)).first;
    const Source& source = known->second;
    const auto found =
        std::find_if(open_.begin(), open_.end(), [&](const Open& open) { return open.source == source; });
    if (found != open_.end()) {
        std::rotate(open_.begin(), found, found + 1);
    } else {
        std::weak_ptr<Face>& held = held_[source];
        std::shared_ptr<Face> face = held.lock();
        if (!face) held = face = load(source);
        open_.insert(open_.begin(), Open{source, std::move(face)});
        drop_costly();
    }
    return open_.front().face;
}

void FontStore::drop_costly() {
    constexpr size_t kMostFaces = 64, kMostBytes = 64 << 20;
    size_t keep = 0;
    for (size_t bytes = 0; keep < std::min(open_.size(), kMostFaces); ++keep) {
        bytes += open_[keep].face ? open_[keep].face->cost() : 0;
        if (keep > 0 && bytes > kMostBytes) break;
    }
    open_.resize(keep);
}

FontStore::Source FontStore::source_of(const FontDefinition& font) const {
    if (font.file) return {font.file->file, "", font.file->member.value_or(0)};
    const auto place = find_system_font(font);
    return place ? Source{0, place->path, place->member} : Source{};
}

std::shared_ptr<Face> FontStore::load(const Source& source) const {
    const auto& [file, path, member] = source;
    return path.empty() ? load_embedded(file, member) : Face::open(library_, path, member);
}

std::shared_ptr<Face> FontStore::load_embedded(uint32_t file, int32_t member) const {
    const Record* record = map_.font_file(file);
    if (!record) return nullptr;
    try {
        std::vector<uint8_t> buffer;
        const Bytes bytes = read_font_file(map_.body(*record, buffer)).bytes;
        std::vector<uint8_t> storage;
        if (record->compressed()) storage.assign(bytes.begin(), bytes.end());
        return Face::open(library_, bytes, std::move(storage), member);
    } catch (const BodyFault&) {
        return nullptr;
    }
}

}  // namespace kvjob
