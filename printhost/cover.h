#pragma once
// Where a page has been drawn on, to the accuracy of a coarse grid: elsewhere the paper is still white.

#include <algorithm>
#include <cstdint>
#include <vector>

#include "platform/win32.h"

namespace kvprint {

class Cover {
public:
    // Of a page of that many pixels, from (0, 0) on.
    Cover(LONG width, LONG height);

    void mark(const RECTL& rect);
    void clear() { std::fill(words_.begin(), words_.end(), Word{0}); }
    // True when nothing that touches the rectangle has been marked. What lies beside the page is always blank.
    bool is_blank(const RECTL& rect) const;

private:
    static constexpr LONG kCell = 16;  // pixels a side
    using Word = uint64_t;
    static constexpr LONG kWordCells = 64;

    // Calls visit(word, bits) for the words that hold the rectangle's cells until it returns false.
    template <class Visit>
    void visit_cells(const RECTL& rect, Visit visit) const;

    LONG columns_, rows_;
    size_t row_words_;
    std::vector<Word> words_;
};

}  // namespace kvprint
