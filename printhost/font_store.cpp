#include "printhost/font_store.h"

#include <algorithm>
#include <cmath>
#include <tuple>

#include "fonts/ifi_metrics.h"

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

constexpr size_t kTag = 6;
const std::string kOwnName;

bool has_tag(const std::string& name) { return name.size() > kTag && name[kTag] == '+'; }

// A name that no installed font has: with a tag of six letters, as parts of fonts have in PDF files.
std::string tagged_name(const fz_font& font, const FontDigest& digest, bool own_tag) {
    std::string name;
    for (const char* letter = font.name; *letter; ++letter) {
        if (*letter > ' ' && *letter < 0x7F) name += *letter;
    }
    if (name.empty()) name = "Font";
    if (has_tag(name)) {
        if (!own_tag) return name;
        name.erase(0, kTag + 1);
    }
    std::string tag;
    for (size_t i = 0; i < kTag; ++i) tag += static_cast<char>('A' + digest[i] % 26);
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

// As much of the family name as a logical font holds.
std::u16string logical_name(FontFile& file) {
    const auto& metrics = *reinterpret_cast<const IFIMETRICS*>(file.face(0).metrics().data());
    return std::u16string(kv::family_name(metrics)).substr(0, LF_FACESIZE - 1);
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
    auto file = make_file(font, digest);
    entry->second.file = file;
    forget_old_files();
    return file;
}

// The font's own file where a system takes it, and takes it for no other; else one made complete, under a name of its
// own: logical fonts know a font by its name alone, and parts of fonts may share one.
std::shared_ptr<FontFile> FontStore::make_file(fz_font* font, const FontDigest& digest) {
    const FontBytes bytes(font->buffer->data, font->buffer->data + font->buffer->len);
    const Sfnt sfnt(bytes);
    if (!sfnt.is_usable()) return nullptr;
    std::vector<std::string> candidates = {tagged_name(*font, digest, false), tagged_name(*font, digest, true)};
    if (sfnt.is_complete() && !is_installed(sfnt)) candidates.insert(candidates.begin(), kOwnName);
    if (const auto given = given_.find(digest); given != given_.end()) candidates = {given->second};
    for (const std::string& name : candidates) {
        auto file = load(name == kOwnName ? bytes : sfnt.completed(name, maps_.texts_of(font)));
        if (!file) return nullptr;
        if (names_.try_emplace(logical_name(*file), digest).first->second != digest) continue;
        given_[digest] = name;
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
