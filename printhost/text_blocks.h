#pragma once
// Level text held back on a page, so that what has one font and colour is drawn in one go, over several lines: a job
// tells a record of many glyphs in a third of the bytes of short ones. Letters keep their places; the order in which
// they are drawn changes only where nothing lies over each other.

#include <map>
#include <memory>
#include <vector>

#include "engine/text.h"
#include "printhost/cover.h"
#include "printhost/text_runs.h"

namespace kvprint {

struct TextBlock {
    std::shared_ptr<kv::engine::Font> font;
    ULONG colour;
    bool by_character, off_baseline;
    std::u16string characters;    // or
    std::vector<USHORT> indices;  // of glyphs
    std::vector<POINTL> origins;  // device pixels
    RECTL box;                    // of the lines
};

TextBlock block_of(const TextRun& run, const std::shared_ptr<kv::engine::Font>& font, ULONG colour, const RECTL& box);

class TextBlocks {
public:
    // Of a page of that many pixels.
    TextBlocks(LONG width, LONG height) : all_(width, height), width_(width), height_(height) {}

    // False when what is held has to be drawn first. box: of the run's line.
    bool add(const TextRun& run, const std::shared_ptr<kv::engine::Font>& font, ULONG colour, const RECTL& box);
    // Something else that is drawn there has to come behind what is held.
    bool touches(const RECTL& rect) const { return !blocks_.empty() && !all_.is_blank(rect); }
    bool empty() const { return blocks_.empty(); }
    // In the order of their first runs; nothing is held afterwards.
    std::vector<TextBlock> take();

private:
    struct Key {
        const kv::engine::Font* font;
        ULONG colour;
        bool by_character;
        auto operator<=>(const Key&) const = default;
    };
    bool lies_on_other_colour(const RECTL& letters, ULONG colour) const;

    std::vector<TextBlock> blocks_;
    std::map<Key, size_t> last_;      // the block that takes more of its kind
    std::map<ULONG, Cover> colours_;  // where each lies
    Cover all_;
    LONG width_, height_;
};

}  // namespace kvprint
