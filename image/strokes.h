#pragma once
// Which pixels of one colour belong to strokes: to a chain of at least 9 pixels that keeps its direction within an
// eighth of a turn, or to what hangs together with a chain's middle within 4 pixels. Lines and solid areas are strokes;
// the dots of a halftone are none.

#include <iterator>

#include "support/memory.h"

namespace kv {

class Strokes {
public:
    static constexpr DWORD kReach = 4;           // pixels of a chain on either side of one in its middle
    static constexpr DWORD kDelay = 2 * kReach;  // rows

    // Rows are of `words` double words, the leftmost pixel in the highest bit. FALSE when memory is out.
    BOOL open(DWORD words);
    // Takes the rows of an image one after another, and kDelay empty ones behind them. What the other functions return
    // is of the row kDelay before, with the rows above and below it and an empty word on either side.
    void push(const DWORD* row);
    const DWORD* above() const { return pixels(kDelay + 1).bits; }
    const DWORD* here() const { return pixels(kDelay).bits; }
    const DWORD* below() const { return pixels(kDelay - 1).bits; }
    const DWORD* strokes() const { return at(grown_[kReach], last_ - kDelay).bits; }

private:
    static constexpr DWORD kOctants = 4;  // each with the one opposite
    struct Row {
        DWORD* bits = nullptr;
        bool any = false;  // else it is empty
    };
    struct Neighbours {
        const Row &above, &here, &below;
    };
    using Ring = Row[3];

    static const Row& at(const Ring& ring, DWORD row) { return ring[row % 3]; }
    static Neighbours around(const Ring& ring, DWORD row) {
        return {at(ring, row - 1), at(ring, row), at(ring, row + 1)};
    }
    const Row& pixels(DWORD back) const { return pixels_[(last_ - back) % std::size(pixels_)]; }
    void shrink(const Neighbours& from, DWORD octant, Row& to) const;
    void collect(DWORD row);
    void grow(DWORD step);
    void clear(Row& row) const;

    // Rows count from kFirst, so that those above the first have numbers as well.
    static constexpr DWORD kFirst = 6 * kDelay;
    DWORD words_ = 0, last_ = kFirst - 1;
    HeapArray<DWORD> memory_;
    Row pixels_[kDelay + 2];
    Ring middles_[kReach][kOctants];  // after step s + 1: with so many pixels of the chain on both sides
    Ring grown_[kReach + 1];          // within s pixels of the middles
};

}  // namespace kv
