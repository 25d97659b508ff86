#pragma once
// The fonts of a PDF file as the engine's fonts.

#include <map>
#include <memory>

#include "engine/font.h"
#include "printhost/installed_fonts.h"
#include "printhost/unicode_maps.h"

namespace kvprint {

class FontStore {
public:
    FontStore(fz_context* context, pdf_document* document, const InstalledFonts& installed)
        : context_(context), installed_(installed), maps_(context, document) {}

    // Null for a font that is not of a TrueType or OpenType file as it stands; then its glyphs are outlines.
    std::shared_ptr<kv::engine::FontFile> file_of(fz_font* font);
    // A font of that file at a size: pixels an em across and up, turned by an angle, in radians clockwise.
    struct Size {
        float across, up, angle;
        bool operator<(const Size& other) const;
    };
    kv::engine::Font& font_of(fz_font* font, const Size& size);

private:
    struct File {
        std::shared_ptr<kv::engine::FontFile> file;
        size_t last_use = 0;
    };
    struct Sized {
        std::unique_ptr<kv::engine::Font> font;
        size_t last_use = 0;
    };
    using Key = std::pair<FontDigest, Size>;

    std::shared_ptr<kv::engine::FontFile> make_file(fz_font* font, const FontDigest& digest);
    bool is_installed(const Sfnt& sfnt) const;
    void forget_old_files();

    fz_context* context_;
    const InstalledFonts& installed_;
    UnicodeMaps maps_;
    std::map<FontDigest, File> files_;
    std::map<std::u16string, FontDigest> names_;  // by which logical fonts know the files
    std::map<FontDigest, std::string> given_;     // the names that files were given; empty: their own
    std::map<Key, Sized> sized_;
    size_t uses_ = 0;
};

}  // namespace kvprint
