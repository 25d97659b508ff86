#include "printhost/held_text.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "printhost/geometry.h"

namespace kvprint {

using kv::engine::Font;
using kv::engine::Placement;
using kv::engine::String;

namespace {

constexpr size_t kMostBlocks = 1000, kMostGlyphs = 100000;  // of what is held
constexpr LONG kFarthestTold = 0x7FFF;                      // that a record tells, pixels

RECTL united(const RECTL& a, const RECTL& b) {
    return {std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right), std::max(a.bottom, b.bottom)};
}

}  // namespace

RECTL ink_of(const TextRun& run, Font& font) {
    constexpr LONG kAround = 1;
    std::optional<RECTL> ink;
    for (size_t i = 0; i < run.glyphs.size(); ++i) {
        const RECTL& letter = font.glyph_data(run.glyphs[i].glyph)->rclInk;
        if (is_empty(letter)) continue;
        const POINTL at = run.origins[i];
        const RECTL placed = {at.x + letter.left - kAround, at.y + letter.top - kAround, at.x + letter.right + kAround,
                              at.y + letter.bottom + kAround};
        ink = ink ? united(*ink, placed) : placed;
    }
    return ink.value_or(RECTL{});
}

RECTL box_of(const TextRun& run, Font& font) {
    const kv::engine::Vector unit = font.to_device(1, 0);
    const double along = font.advance(run.glyphs.back().glyph) / std::hypot(unit.x, unit.y);
    const POINTL last = run.origins.back();
    return kv::engine::line_box(font, run.origins.front(),
                                {last.x + static_cast<LONG>(std::lround(along * unit.x)),
                                 last.y + static_cast<LONG>(std::lround(along * unit.y))});
}

void TextBlock::append(const TextRun& run, const RECTL& box) {
    const POINTL start = run.origins.front();
    if (lines_.empty() || origins_.back().y != start.y || origins_.back().x > start.x || run.off_baseline) {
        lines_.push_back({origins_.size(), 0, box});
    }
    Part& line = lines_.back();
    line.box = united(line.box, box);
    by_character_ = by_character_ && run.by_character;
    off_baseline_ = off_baseline_ || run.off_baseline;
    for (const PlacedGlyph& glyph : run.glyphs) {
        characters_.push_back(glyph.character);
        glyphs_.push_back(glyph.glyph);
    }
    origins_.insert(origins_.end(), run.origins.begin(), run.origins.end());
    line.end = origins_.size();
}

bool TextBlock::reaches(const TextRun& run) const {
    if (origins_.empty()) return true;
    const POINTL to = run.origins.front();
    auto is_near = [&](POINTL from) {
        return std::abs(LONGLONG{to.x} - from.x) <= kFarthestTold && std::abs(LONGLONG{to.y} - from.y) <= kFarthestTold;
    };
    return is_near(origins_.front()) && is_near(origins_.back());
}

std::vector<TextBlock::Part> TextBlock::parts() const {
    // Of a record: a text state is written once. Longer ones are deflated, which takes the offsets to next to nothing.
    constexpr size_t kHead = 10, kOffset = 2, kGlyph = 6, kDeflated = 254;
    const size_t whole = kHead + kGlyph * origins_.size();
    if (whole < kDeflated && kHead * (lines_.size() - 1) < kOffset * origins_.size()) return lines_;
    Part all = {0, origins_.size(), lines_.front().box};
    for (const Part& line : lines_) all.box = united(all.box, line.box);
    return {all};
}

bool TextBlock::is_off_baseline(const Part& part) const {
    return off_baseline_ || std::any_of(lines_.begin(), lines_.end(), [&](const Part& line) {
               return line.first >= part.first && line.end <= part.end &&
                      origins_[line.first].y != origins_[part.first].y;
           });
}

String TextBlock::string_of(const Part& part) const {
    Placement placement = {part_of(origins_, part), origins_[part.end - 1]};
    return by_character_ ? String(*font_, part_of(characters_, part), std::move(placement))
                         : String(*font_, part_of(glyphs_, part), std::move(placement));
}

bool HeldText::add(const TextRun& run, const std::shared_ptr<Font>& font, ULONG colour, const RECTL& ink,
                   const RECTL& box) {
    if (places_.has_other(ink, colour) || blocks_.size() >= kMostBlocks || glyphs_ >= kMostGlyphs) return false;
    const auto [last, added] = last_.try_emplace({font.get(), colour}, blocks_.size());
    if (!added && !blocks_[last->second].reaches(run)) last->second = blocks_.size();
    if (last->second == blocks_.size()) blocks_.emplace_back(font, colour);
    blocks_[last->second].append(run, box);
    places_.mark(ink, colour);
    glyphs_ += run.glyphs.size();
    return true;
}

bool HeldText::is_under(const RECTL& rect, std::optional<ULONG> colour) const {
    return colour ? places_.has_other(rect, *colour) : places_.has_any(rect);
}

std::vector<TextBlock> HeldText::take() {
    last_.clear();
    places_.clear();
    glyphs_ = 0;
    std::stable_sort(blocks_.begin(), blocks_.end(),
                     [](const TextBlock& a, const TextBlock& b) { return a.colour() < b.colour(); });
    return std::exchange(blocks_, {});
}

}  // namespace kvprint
