#include "tools/kvprint/font_store.h"

#include <algorithm>
#include <cmath>
#include <tuple>

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

// A name that no installed font has: with a tag of six letters, as parts of fonts have in PDF files.
std::string tagged_name(const fz_font& font, const FontDigest& digest) {
    constexpr size_t kTag = 6;
    std::string name;
    for (const char* letter = font.name; *letter; ++letter) {
        if (*letter > ' ' && *letter < 0x7F) name += *letter;
    }
    if (name.empty()) name = "Font";
    if (name.size() > kTag && name[kTag] == '+') return name;
    std::string tag;
    for (size_t i = 0; i < kTag; ++i) tag += static_cast<char>('A' + digest[i] % 26);
    return tag + "+" + name;
}

template <class Map>
auto oldest(Map& map) {
    return std::min_element(map.begin(), map.end(),
                            [](const auto& a, const auto& b) { return a.second.last_use < b.second.last_use; });
}

}  // namespace

bool FontStore::Size::operator<(const Size& other) const {
    return std::tie(across, up, angle) < std::tie(other.across, other.up, other.angle);
}

std::shared_ptr<FontFile> FontStore::file_of(fz_font* font) {
    if (!is_drawn_as_it_stands(*font)) return nullptr;
    const FontDigest digest = digest_of(context_, font);
    auto [entry, added] = files_.try_emplace(digest);
    entry->second.last_use = ++uses_;
    if (!added) return entry->second.file;
    const auto file = make_file(font, digest);
    entry->second.file = file;
    forget_old_files();
    return file;
}

std::shared_ptr<FontFile> FontStore::make_file(fz_font* font, const FontDigest& digest) {
    FontBytes bytes = bytes_of(font, digest);
    if (bytes.empty()) return nullptr;
    try {
        auto file = std::make_shared<FontFile>(std::move(bytes));
        file->face(0);
        return file;
    } catch (const std::runtime_error&) {
        return nullptr;
    }
}

// The font's own file where a system takes it, and takes it for no other; else one made complete.
FontBytes FontStore::bytes_of(fz_font* font, const FontDigest& digest) {
    const FontBytes bytes(font->buffer->data, font->buffer->data + font->buffer->len);
    const Sfnt sfnt(bytes);
    if (!sfnt.is_usable()) return {};
    const std::vector<std::string> names = sfnt.names();
    const bool own_name =
        std::none_of(names.begin(), names.end(), [this](const std::string& name) { return installed_.has(name); });
    if (sfnt.is_complete() && own_name) return bytes;
    return sfnt.completed(tagged_name(*font, digest),
                          sfnt.has_character_map() ? std::vector<GlyphOfCharacter>() : maps_.map_of(font));
}

void FontStore::forget_old_files() {
    auto total = [this] {
        size_t bytes = 0;
        for (const auto& [digest, entry] : files_) bytes += entry.file ? entry.file->bytes().size() : 0;
        return bytes;
    };
    while (files_.size() > 1 && (files_.size() > kMostFiles || total() > kMostBytes)) {
        const FontDigest digest = oldest(files_)->first;
        std::erase_if(sized_, [&](const auto& sized) { return sized.first.first == digest; });
        files_.erase(digest);
    }
}

Font& FontStore::font_of(fz_font* font, const Size& size) {
    const auto file = file_of(font);
    Sized& sized = sized_[{digest_of(context_, font), size}];
    sized.last_use = ++uses_;
    if (!sized.font) {
        const auto& metrics = *reinterpret_cast<const IFIMETRICS*>(file->face(0).metrics().data());
        const auto em = static_cast<float>(metrics.fwdUnitsPerEm);
        const float cosine = std::cos(size.angle), sine = std::sin(size.angle);
        sized.font = std::make_unique<Font>(file, 0,
                                            XFORML{size.across * cosine / em, size.across * sine / em,
                                                   -size.up * sine / em, size.up * cosine / em, 0, 0});
        if (sized_.size() > kMostSized) sized_.erase(oldest(sized_));
    }
    return *sized.font;
}

}  // namespace kvprint
