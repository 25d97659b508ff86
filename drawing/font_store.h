#pragma once
// The fonts of a job, opened: embedded files from the job, others as the system has them.

#include <ft2build.h>
#include FT_FREETYPE_H

#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <unordered_map>

#include "reader/job_map.h"
#include "reader/text_bodies.h"

namespace kvjob {

// One face of a font file. It keeps what it needs, so that it may outlive the store.
class Face {
    struct Key {};  // faces are made by open alone

public:
    using Library = std::shared_ptr<FT_LibraryRec_>;
    // Bytes of a file: `storage` owns them, or they are part of the job. Null where they are no font.
    static std::shared_ptr<Face> open(Library library, Bytes bytes, std::vector<uint8_t> storage, int32_t member);
    static std::shared_ptr<Face> open(Library library, const std::string& path, int32_t member);
    Face(Key, Library library, std::vector<uint8_t> storage)
        : library_(std::move(library)), storage_(std::move(storage)) {}
    ~Face();
    Face(const Face&) = delete;
    Face& operator=(const Face&) = delete;

    FT_Face get() const { return face_; }
    std::string family() const { return face_->family_name ? face_->family_name : ""; }
    bool bold() const;
    bool italic() const;
    size_t cost() const { return storage_.size(); }  // bytes held
    // 0 where the font has none.
    uint32_t glyph_of(uint32_t character) const;
    uint32_t character_of(uint32_t glyph);
    // What the glyph stands for by the font's map, or by the glyph's name. Empty where neither says it.
    std::u32string text_of(uint32_t glyph);
    // The same with a character that is known; U+FFFD where nothing is.
    void append_text(std::string& text, uint32_t character, uint32_t glyph);
    // The glyph's outline can be loaded.
    bool can_draw(uint32_t glyph) { return measured(glyph).drawable; }
    // In ems.
    double advance_of(uint32_t glyph) { return measured(glyph).advance; }
    double average_width() const;
    double ascent() const;
    double descent() const;  // below the baseline

private:
    struct Glyph {
        bool drawable = false;
        double advance = 0;
    };
    void choose_map();
    const Glyph& measured(uint32_t glyph);
    Glyph measure(uint32_t glyph) const;

    Library library_;
    std::vector<uint8_t> storage_;
    FT_Face face_ = nullptr;
    std::unordered_map<uint32_t, uint32_t> characters_;  // by glyph, filled when first asked for
    std::unordered_map<uint32_t, Glyph> glyphs_;         // those that were asked for
};

class FontStore {
public:
    explicit FontStore(const JobMap& map);

    // Throws BodyFault where the identifier names no sound definition.
    const FontDefinition& definition(uint32_t id);
    // The face of a definition, null where there is none. Recently used faces stay open while they are cheap to keep;
    // one that somebody still holds is never opened twice.
    std::shared_ptr<Face> face(const FontDefinition& font);

private:
    // What tells faces apart: an embedded file or the path of an installed one, and the member.
    using Source = std::tuple<uint32_t, std::string, int32_t>;
    struct Open {
        Source source;
        std::shared_ptr<Face> face;
    };
    Source source_of(const FontDefinition& font) const;
    std::shared_ptr<Face> load(const Source& source) const;
    std::shared_ptr<Face> load_embedded(uint32_t file, int32_t member) const;
    void drop_costly();

    const JobMap& map_;
    Face::Library library_;
    std::unordered_map<uint32_t, FontDefinition> definitions_;
    std::unordered_map<uint32_t, Source> sources_;  // by definition
    std::vector<Open> open_;                        // the most recently used first
    std::map<Source, std::weak_ptr<Face>> held_;    // by whoever asked for them
};

}  // namespace kvjob
