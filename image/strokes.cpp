#include "image/strokes.h"

#include <cstddef>
#include <cstring>

namespace kv {
namespace {

// Neighbours on the right and on the left, seen from each pixel of a word.
DWORD east(const DWORD* word) { return word[0] << 1 | word[1] >> 31; }
DWORD west(const DWORD* word) { return word[0] >> 1 | word[-1] << 31; }

// Those on the right or the left of what is set in either of two rows.
DWORD east(const DWORD* a, const DWORD* b) { return (a[0] | b[0]) << 1 | (a[1] | b[1]) >> 31; }
DWORD west(const DWORD* a, const DWORD* b) { return (a[0] | b[0]) >> 1 | (a[-1] | b[-1]) << 31; }

}  // namespace

BOOL Strokes::open(DWORD words) {
    words_ = words;
    last_ = kFirst - 1;
    const size_t stride = size_t{words} + 2;
    const size_t rows = std::size(pixels_) + size_t{3} * (kReach * kOctants + kReach + 1);
    if (!memory_.alloc(rows * stride, kQuietly)) return FALSE;
    DWORD* next = memory_.get() + 1;
    const auto place = [&](Row& row) {
        row = {next, false};
        next += stride;
    };
    for (Row& row : pixels_) place(row);
    for (auto& octants : middles_) {
        for (Ring& ring : octants) {
            for (Row& row : ring) place(row);
        }
    }
    for (Ring& ring : grown_) {
        for (Row& row : ring) place(row);
    }
    return TRUE;
}

void Strokes::clear(Row& row) const {
    if (row.any) std::memset(row.bits, 0, words_ * sizeof(DWORD));
    row.any = false;
}

// A pixel stays that has one before and one behind it, each straight on or an eighth of a turn aside: to the east and
// north-east, the east and south-east, the south and south-east, the south and south-west.
void Strokes::shrink(const Neighbours& from, DWORD octant, Row& to) const {
    if (!from.here.any) return clear(to);
    const DWORD *above = from.above.bits, *here = from.here.bits, *below = from.below.bits;
    DWORD* __restrict bits = to.bits;
    DWORD any = 0;
    const auto each = [&](auto keep) {
        for (DWORD i = 0; i < words_; ++i) any |= bits[i] = here[i] & keep(i);
    };
    if (octant == 0) each([&](DWORD i) { return east(here + i, above + i) & west(here + i, below + i); });
    if (octant == 1) each([&](DWORD i) { return east(here + i, below + i) & west(here + i, above + i); });
    if (octant == 2) each([&](DWORD i) { return (below[i] | east(below + i)) & (above[i] | west(above + i)); });
    if (octant == 3) each([&](DWORD i) { return (below[i] | west(below + i)) & (above[i] | east(above + i)); });
    to.any = any != 0;
}

// The middles of all chains.
void Strokes::collect(DWORD row) {
    Row& to = grown_[0][row % 3];
    clear(to);
    for (const Ring& ring : middles_[kReach - 1]) {
        const Row& from = at(ring, row);
        if (!from.any) continue;
        for (DWORD i = 0; i < words_; ++i) to.bits[i] |= from.bits[i];
        to.any = true;
    }
}

void Strokes::grow(DWORD step) {
    const DWORD row = last_ - kReach - step;
    const Neighbours from = around(grown_[step - 1], row);
    Row& to = grown_[step][row % 3];
    if (!from.above.any && !from.here.any && !from.below.any) return clear(to);
    const DWORD *above = from.above.bits, *here = from.here.bits, *below = from.below.bits;
    const DWORD* pixel = pixels(kReach + step).bits;
    DWORD* __restrict bits = to.bits;
    const auto any = [&](ptrdiff_t i) { return above[i] | here[i] | below[i]; };
    for (ptrdiff_t i = 0; i < static_cast<ptrdiff_t>(words_); ++i) {
        bits[i] = pixel[i] & (any(i) | any(i) << 1 | any(i + 1) >> 31 | any(i) >> 1 | any(i - 1) << 31);
    }
    to.any = true;
}

void Strokes::push(const DWORD* row) {
    Row& newest = pixels_[++last_ % std::size(pixels_)];
    DWORD any = 0;
    for (DWORD i = 0; i < words_; ++i) any |= newest.bits[i] = row[i];
    newest.any = any != 0;
    for (DWORD step = 1; step <= kReach; ++step) {
        const DWORD to = last_ - step;
        for (DWORD octant = 0; octant < kOctants; ++octant) {
            const Neighbours from =
                step == 1 ? Neighbours{pixels(2), pixels(1), pixels(0)} : around(middles_[step - 2][octant], to);
            shrink(from, octant, middles_[step - 1][octant][to % 3]);
        }
    }
    collect(last_ - kReach);
    for (DWORD step = 1; step <= kReach; ++step) grow(step);
}

}  // namespace kv
