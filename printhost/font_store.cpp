#include "printhost/font_store.h"

#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>
#include <cmath>
#include <cstring>

#include "fonts/ifi_metrics.h"
#include "printhost/made_font.h"

namespace kvprint {
namespace {

using kv::engine::Font;
using kv::engine::FontFile;

// What is kept beyond the font in use: bytes of files, files that are none of ours, fonts of a size.
constexpr size_t kMostBytes = 48 << 20, kMostFiles = 1000, kMostSized = 200;

// Fonts that MuPDF changes as it draws are not what their files say.
bool is_drawn_as_it_stands(const fz_font& font) {
    return font.buffer && !font.flags.fake_bold && !font.flags.fake_italic &&
           !(font.flags.ft_substitute && font.flags.ft_stretch);
}

std::span<const uint8_t> bytes_of(const fz_font& font) { return {font.buffer->data, font.buffer->len}; }

constexpr size_t kTag = 6;
const std::string kOwnName;

bool has_tag(const std::string& name) { return name.size() > kTag && name[kTag] == '+'; }

// A name that no installed font has: with a tag of six letters, as parts of fonts have in PDF files.
std::string tagged_name(const fz_font& font, const FontKey& key) {
    std::string name;
    for (const char* letter = font.name; *letter; ++letter) {
        if (*letter > ' ' && *letter < 0x7F && !std::strchr("[](){}<>/%", *letter)) name += *letter;
    }
    if (has_tag(name)) name.erase(0, kTag + 1);
    if (name.empty()) name = "Font";
    std::string tag;
    for (size_t i = 0; i < kTag; ++i) {
        tag += static_cast<char>('A' + (key.digest[i] + static_cast<unsigned>(key.slant) * (i + 1)) % 26);
    }
    return tag + "+" + name;
}

template <class Map>
auto oldest(Map& map) {
    return std::min_element(map.begin(), map.end(),
                            [](const auto& a, const auto& b) { return a.second.last_use < b.second.last_use; });
}

// Null for bytes that are no font.
std::shared_ptr<FontFile> load(FontBytes bytes) {
    try {
        auto file = std::make_shared<FontFile>(std::move(bytes));
        file->face(0);
        return file;
    } catch (const std::runtime_error&) {
        return nullptr;
    }
}

const IFIMETRICS& metrics_of(FontFile& file) {
    return *reinterpret_cast<const IFIMETRICS*>(file.face(0).metrics().data());
}

// As much of the family name as a logical font holds.
std::u16string logical_name(FontFile& file) {
    return std::u16string(kv::family_name(metrics_of(file))).substr(0, LF_FACESIZE - 1);
}

GlyphTexts renumbered(const GlyphTexts& texts, const GlyphNumbers& numbers) {
    GlyphTexts result;
    for (const auto& [glyph, number] : numbers) {
        if (const auto said = texts.find(glyph); said != texts.end()) result[number] = said->second;
    }
    return result;
}

}  // namespace

std::optional<uint16_t> JobFont::number_of(int glyph) const {
    if (glyph < 0 || glyph > 0xFFFF) return std::nullopt;
    if (same_numbers) return glyph > 0 ? std::optional(static_cast<uint16_t>(glyph)) : std::nullopt;
    const auto found = numbers.find(static_cast<uint16_t>(glyph));
    return found == numbers.end() ? std::nullopt : std::optional(found->second);
}

const JobFont* FontStore::job_font(fz_font* font, int slant) {
    const FontKey key = {identities_.digest_of(font), slant};
    auto [entry, added] = files_.try_emplace(key);
    entry->second.last_use = ++uses_;
    if (added) {
        entry->second.font = make(font, key);
        forget_old_files();
    }
    return entry->second.font ? &*entry->second.font : nullptr;
}

// The font's own file where a system takes it, or the part of it that is shown; else one made of its outlines.
std::optional<JobFont> FontStore::make(fz_font* font, const FontKey& key) {
    if (key.slant == 0 && is_drawn_as_it_stands(*font) && is_sfnt(bytes_of(*font))) {
        const auto file = whole_files_ ? make_whole(font, key) : make_part(font, key);
        if (file) return file;
    }
    return make_own(font, key);
}

// As it stands, where it is complete and no other font goes by its name.
std::optional<JobFont> FontStore::make_whole(fz_font* font, const FontKey& key) {
    const std::span<const uint8_t> all = bytes_of(*font);
    const FontBytes bytes =
        is_collection(all) ? member_of(all, member_of(context_, font)) : FontBytes(all.begin(), all.end());
    const Sfnt sfnt(bytes);
    if (!sfnt.is_usable()) return std::nullopt;
    std::vector<std::string> names = {tagged_name(*font, key)};
    if (sfnt.is_complete() && !is_installed(sfnt)) names.insert(names.begin(), kOwnName);
    const FilePointer file = load_named(key, names, [&](const std::string& name) {
        return name == kOwnName ? bytes : sfnt.completed(name, survey_.texts_of(key));
    });
    return file ? std::optional(JobFont{file, true, {}}) : std::nullopt;
}

std::optional<JobFont> FontStore::make_part(fz_font* font, const FontKey& key) {
    const GlyphTexts& texts = survey_.texts_of(key);
    std::vector<uint16_t> glyphs;
    for (const auto& [glyph, said] : texts) glyphs.push_back(glyph);
    const unsigned member = member_of(context_, font);
    const auto* face = static_cast<FT_Face>(fz_font_ft_face(context_, font));
    FontSubset part = make_subset(bytes_of(*font), member, glyphs, face && FT_IS_TRICKY(face));
    const Sfnt sfnt(part.bytes);
    if (!sfnt.is_usable()) return std::nullopt;
    const GlyphTexts said = renumbered(with_own_characters(texts, bytes_of(*font), member), part.numbers);
    const FilePointer file =
        load_named(key, {tagged_name(*font, key)}, [&](const std::string& name) { return sfnt.completed(name, said); });
    return file ? std::optional(JobFont{file, false, std::move(part.numbers)}) : std::nullopt;
}

std::optional<JobFont> FontStore::make_own(fz_font* font, const FontKey& key) {
    GlyphNumbers numbers;
    const FilePointer file = load_named(key, {tagged_name(*font, key)}, [&](const std::string& name) {
        FontSubset made = make_font(context_, font, key, survey_, name);
        numbers = std::move(made.numbers);
        return std::move(made.bytes);
    });
    return file ? std::optional(JobFont{file, false, std::move(numbers)}) : std::nullopt;
}

// Logical fonts know a font by its name alone.
template <class Write>
FontStore::FilePointer FontStore::load_named(const FontKey& key, std::vector<std::string> names, Write write) {
    if (const auto given = given_.find(key); given != given_.end()) names = {given->second};
    for (const std::string& name : names) {
        auto file = load(write(name));
        if (!file) return nullptr;
        if (names_.try_emplace(logical_name(*file), key).first->second != key) continue;
        given_[key] = name;
        return file;
    }
    return nullptr;
}

bool FontStore::is_installed(const Sfnt& sfnt) const {
    const std::vector<std::string> names = sfnt.names();
    return std::any_of(names.begin(), names.end(), [this](const std::string& name) { return installed_.has(name); });
}

void FontStore::forget_old_files() {
    auto total = [this] {
        size_t bytes = 0;
        for (const auto& [key, entry] : files_) bytes += entry.font ? entry.font->file->bytes().size() : 0;
        return bytes;
    };
    while (files_.size() > 1 && (files_.size() > kMostFiles || total() > kMostBytes)) {
        const FontKey key = oldest(files_)->first;
        std::erase_if(sized_, [&](const auto& sized) { return sized.first.font == key; });
        files_.erase(key);
    }
}

std::shared_ptr<Font> FontStore::sized_font(fz_font* font, const LetterShape& shape) {
    const JobFont& own = *job_font(font, shape.slant);
    const FontKey key = {identities_.digest_of(font), shape.slant};
    Sized& sized = sized_[{key, shape.across, shape.up, shape.angle}];
    sized.last_use = ++uses_;
    if (!sized.font) {
        const auto em = static_cast<float>(metrics_of(*own.file).fwdUnitsPerEm);
        const float cosine = std::cos(shape.angle), sine = std::sin(shape.angle);
        sized.font = std::make_shared<Font>(own.file, 0,
                                            XFORML{shape.across * cosine / em, shape.across * sine / em,
                                                   -shape.up * sine / em, shape.up * cosine / em, 0, 0});
        if (sized_.size() > kMostSized) sized_.erase(oldest(sized_));
    }
    return sized.font;
}

}  // namespace kvprint
