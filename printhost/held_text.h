#pragma once
// Level text held back on a page, so that what has one font and colour is drawn in one go, over several lines: a job
// tells a record of many glyphs in a third of the bytes of short ones. Letters keep their places; the order in which
// they are drawn changes only where it does not show.

#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "engine/text.h"
#include "printhost/ink_places.h"
#include "printhost/text_runs.h"

namespace kvprint {

// Runs of one font and colour.
class TextBlock {
public:
    TextBlock(std::shared_ptr<kv::engine::Font> font, ULONG colour) : font_(std::move(font)), colour_(colour) {}

    // box: of the run's line.
    void append(const TextRun& run, const RECTL& box);
    // A record tells how far a glyph lies from the one before it.
    bool reaches(const TextRun& run) const;
    kv::engine::Font& font() const { return *font_; }
    ULONG colour() const { return colour_; }

    // Glyphs of one text that a driver is given.
    struct Part {
        size_t first, end;
        RECTL box;
    };
    // All in one, or one a line where that takes fewer bytes of a job.
    std::vector<Part> parts() const;
    kv::engine::String string_of(const Part& part) const;
    // Not all of its glyphs stand on one baseline.
    bool is_off_baseline(const Part& part) const;

private:
    template <class Items>
    static Items part_of(const Items& all, const Part& part) {
        return {all.begin() + static_cast<ptrdiff_t>(part.first), all.begin() + static_cast<ptrdiff_t>(part.end)};
    }

    std::shared_ptr<kv::engine::Font> font_;
    ULONG colour_;
    bool by_character_ = true, off_baseline_ = false;
    std::u16string characters_;
    std::vector<USHORT> glyphs_;
    std::vector<POINTL> origins_;  // device pixels
    std::vector<Part> lines_;
};

class HeldText {
public:
    // Of a page of that many pixels.
    HeldText(LONG width, LONG height) : places_(width, height) {}

    // False when what is held has to be drawn first. ink: what the run's letters paint. box: of its line.
    bool add(const TextRun& run, const std::shared_ptr<kv::engine::Font>& font, ULONG colour, const RECTL& ink,
             const RECTL& box);
    // Something else that is drawn there, all in one opaque colour where one is given, has to come behind what is held.
    bool is_under(const RECTL& rect, std::optional<ULONG> colour) const;
    bool empty() const { return blocks_.empty(); }
    // By their colours; nothing is held afterwards.
    std::vector<TextBlock> take();

private:
    struct Key {
        const kv::engine::Font* font;
        ULONG colour;
        auto operator<=>(const Key&) const = default;
    };

    std::vector<TextBlock> blocks_;
    std::map<Key, size_t> last_;  // the block that takes more of its kind
    InkPlaces places_;
    size_t glyphs_ = 0;
};

// The pixels that the letters of a run paint, and one more around them: they stand on rounded places.
RECTL ink_of(const TextRun& run, kv::engine::Font& font);
// Of the run's line, between the font's ascender and descender.
RECTL box_of(const TextRun& run, kv::engine::Font& font);

}  // namespace kvprint
