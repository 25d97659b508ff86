#include "printhost/text_blocks.h"

#include <utility>

#include "printhost/geometry.h"

namespace kvprint {
namespace {

// Beyond so many blocks or colours nothing more is gained.
constexpr size_t kMostBlocks = 256, kMostColours = 16;
constexpr LONG kFarthest = 0x7FFF;  // from one glyph to the next, of what a record tells

// Where the letters of a line are, without the space that fonts leave around them. Covers know places to within a
// cell: words side by side are to have none in common.
RECTL letters_of(const RECTL& box, LONG baseline, LONG em) {
    constexpr LONG kCell = 16;
    const LONG inset = std::min(kCell, (box.right - box.left) / 2 - 1);
    RECTL letters = {box.left, baseline - em * 7 / 10, box.right, baseline + em / 5};
    if (inset > 0) letters = {box.left + inset, letters.top, box.right - inset, letters.bottom};
    return letters;
}

bool is_near(POINTL from, POINTL to) {
    return std::abs(LONGLONG{to.x} - from.x) <= kFarthest && std::abs(LONGLONG{to.y} - from.y) <= kFarthest;
}

void append(const TextRun& run, TextBlock& block) {
    for (const PlacedGlyph& glyph : run.glyphs) {
        run.by_character ? block.characters.push_back(glyph.character) : block.indices.push_back(glyph.glyph);
    }
    block.off_baseline |=
        run.off_baseline || (!block.origins.empty() && block.origins.front().y != run.origins.front().y);
    block.origins.insert(block.origins.end(), run.origins.begin(), run.origins.end());
}

}  // namespace

TextBlock block_of(const TextRun& run, const std::shared_ptr<kv::engine::Font>& font, ULONG colour, const RECTL& box) {
    TextBlock block = {font, colour, run.by_character, run.off_baseline, {}, {}, {}, box};
    append(run, block);
    return block;
}

bool TextBlocks::lies_on_other_colour(const RECTL& letters, ULONG colour) const {
    return std::any_of(colours_.begin(), colours_.end(),
                       [&](const auto& other) { return other.first != colour && !other.second.is_blank(letters); });
}

bool TextBlocks::add(const TextRun& run, const std::shared_ptr<kv::engine::Font>& font, ULONG colour,
                     const RECTL& box) {
    const kv::engine::Vector up = font->to_device(0, font->metrics().fwdUnitsPerEm);
    const RECTL letters = letters_of(box, run.origins.front().y, static_cast<LONG>(std::lround(std::abs(up.y))));
    if (lies_on_other_colour(letters, colour) || blocks_.size() >= kMostBlocks) return false;
    if (!colours_.contains(colour) && colours_.size() >= kMostColours) return false;
    const auto [last, added] = last_.try_emplace({font.get(), colour, run.by_character}, blocks_.size());
    if (!added && !is_near(blocks_[last->second].origins.back(), run.origins.front())) last->second = blocks_.size();
    if (last->second == blocks_.size())
        blocks_.push_back({font, colour, run.by_character, run.off_baseline, {}, {}, {}, box});
    TextBlock& block = blocks_[last->second];
    append(run, block);
    block.box = {std::min(block.box.left, box.left), std::min(block.box.top, box.top),
                 std::max(block.box.right, box.right), std::max(block.box.bottom, box.bottom)};
    colours_.try_emplace(colour, width_, height_).first->second.mark(letters);
    all_.mark(letters);
    return true;
}

std::vector<TextBlock> TextBlocks::take() {
    last_.clear();
    colours_.clear();
    all_.clear();
    return std::exchange(blocks_, {});
}

}  // namespace kvprint
