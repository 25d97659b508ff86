#include "record/pending_text.h"

#include <algorithm>

#include "record/document.h"
#include "record/geometry.h"
#include "support/assert.h"

namespace kv {
namespace {

bool can_be_held(const TextRun& run) {
    if (run.count == 0 || run.count > kMostGlyphs || (!run.characters && !run.glyphs) || !run.positions) return false;
    if (run.layout->orientation != Orientation::Level || run.opaque) return false;
    const LONG line = run.positions[0].y;
    return std::all_of(run.positions, run.positions + run.count, [=](const POINTL& at) { return at.y == line; });
}

bool is_narrow(POINTL at) { return fits_16_bits(at.x) && fits_16_bits(at.y); }

}  // namespace

// On the same line behind what is held, at most three spaces away. Over an opaque ground there may be no gap: the box
// of the joined run would cover what stands there.
bool CPendingText::continues(const Document& document, const TextRun& run) const {
    constexpr int64_t kMostSpaces = 3;
    KV_ASSERT(count_ > 0 && run.count > 0);
    const POINTL start = run.positions[0], last = positions_[count_ - 1], end = positions_[count_];
    const LONG space = run.layout->space_advance;
    if (document.text_state.background_mode == kBackgroundOpaque && start.x > end.x) return false;
    return has_characters_ == (run.characters != nullptr) && has_glyphs_ == (run.glyphs != nullptr) &&
           narrow_ == is_narrow(start) && start.y == positions_[0].y && start.x > last.x &&
           count_ + run.count <= kMostGlyphs && space == layout_.space_advance &&
           (space == 0 || start.x <= end.x + kMostSpaces * space);
}

BOOL CPendingText::offer_text_run(Document& document, const TextRun& run) {
    if (!can_be_held(run) || (count_ != 0 && !continues(document, run))) return FALSE;
    if (count_ == 0) {
        layout_ = *run.layout;
        has_characters_ = run.characters != nullptr;
        has_glyphs_ = run.glyphs != nullptr;
        narrow_ = is_narrow(run.positions[0]);
        off_baseline_ = false;
    }
    if (run.characters) std::copy_n(run.characters, run.count, characters_ + count_);
    if (run.glyphs) std::copy_n(run.glyphs, run.count, glyphs_ + count_);
    std::copy_n(run.positions, run.count + 1, positions_ + count_);
    off_baseline_ |= run.off_baseline;
    count_ += run.count;
    KV_ASSERT(count_ <= kMostGlyphs);
    return TRUE;
}

BOOL CPendingText::flush(Document& document) {
    const TextRun run = {
        &layout_,   nullptr,      count_, has_characters_ ? characters_ : nullptr, has_glyphs_ ? glyphs_ : nullptr,
        positions_, off_baseline_};
    return WriteTextRecord(document, run);
}

}  // namespace kv
