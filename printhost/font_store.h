#pragma once
// The fonts of a document as the engine's fonts: each with a file that the job can carry.

#include <map>
#include <memory>

#include "engine/font.h"
#include "printhost/font_subset.h"
#include "printhost/font_survey.h"
#include "printhost/installed_fonts.h"
#include "printhost/letter_shape.h"
#include "printhost/outline_cache.h"

namespace kvprint {

// A font of the job.
struct JobFont {
    std::shared_ptr<kv::engine::FontFile> file;
    bool same_numbers;     // of glyphs in the document and in the file
    GlyphNumbers numbers;  // otherwise

    // Nothing for glyphs that the file does not hold; glyph 0 of a font as it stands is drawn for what is lacking.
    std::optional<uint16_t> number_of(int glyph) const;
};

class FontStore {
public:
    // whole_files: TrueType and OpenType files of the document are not reduced to what it shows.
    FontStore(fz_context* context, FontIdentities& identities, const FontSurvey& survey,
              const InstalledFonts& installed, bool whole_files)
        : context_(context),
          identities_(identities),
          survey_(survey),
          installed_(installed),
          whole_files_(whole_files),
          outlines_(context) {}

    // Null for a font none of whose glyphs a file can hold. Valid until the next call.
    const JobFont* job_font(fz_font* font, int slant);
    // That font in a size.
    std::shared_ptr<kv::engine::Font> sized_font(fz_font* font, const LetterShape& shape);
    // Of a glyph that is drawn as a path, in ems; null for a blank one. Valid until the next call.
    fz_path* outline_of(fz_font* font, int glyph) { return outlines_.outline_of(font, glyph); }

private:
    struct File {
        std::optional<JobFont> font;
        size_t last_use = 0;
    };
    struct Sized {
        std::shared_ptr<kv::engine::Font> font;
        size_t last_use = 0;
    };
    struct SizedKey {
        FontKey font;
        float across, up, angle;
        auto operator<=>(const SizedKey&) const = default;
    };
    using FilePointer = std::shared_ptr<kv::engine::FontFile>;

    std::optional<JobFont> make(fz_font* font, const FontKey& key);
    std::optional<JobFont> make_whole(fz_font* font, const FontKey& key);
    std::optional<JobFont> make_part(fz_font* font, const FontKey& key);
    std::optional<JobFont> make_own(fz_font* font, const FontKey& key);
    // A file by the first of the names that no other font has. write: the file's bytes under a name.
    template <class Write>
    FilePointer load_named(const FontKey& key, std::vector<std::string> names, Write write);
    bool is_installed(const Sfnt& sfnt) const;
    void forget_old_files();

    fz_context* context_;
    FontIdentities& identities_;
    const FontSurvey& survey_;
    const InstalledFonts& installed_;
    const bool whole_files_;
    OutlineCache outlines_;
    std::map<FontKey, File> files_;
    std::map<std::u16string, FontKey> names_;  // by which logical fonts know the files
    std::map<FontKey, std::string> given_;     // the names that files were given; empty: their own
    std::map<SizedKey, Sized> sized_;
    size_t uses_ = 0;
};

}  // namespace kvprint
