#include "printhost/cover.h"

#include "printhost/geometry.h"

namespace kvprint {

Cover::Cover(LONG width, LONG height)
    : columns_((width + kCell - 1) / kCell),
      rows_((height + kCell - 1) / kCell),
      row_words_(static_cast<size_t>((columns_ + kWordCells - 1) / kWordCells)),
      words_(row_words_ * static_cast<size_t>(rows_)) {}

template <class Visit>
void Cover::visit_cells(const RECTL& rect, Visit visit) const {
    const RECTL page = {0, 0, columns_ * kCell, rows_ * kCell}, inside = common(rect, page);
    if (is_empty(inside)) return;
    const LONG first = inside.left / kCell, last = (inside.right - 1) / kCell;
    for (LONG row = inside.top / kCell; row <= (inside.bottom - 1) / kCell; ++row) {
        for (LONG word = first / kWordCells; word <= last / kWordCells; ++word) {
            Word bits = ~Word{0};
            if (word == first / kWordCells) bits &= ~Word{0} << (first % kWordCells);
            if (word == last / kWordCells) bits &= ~Word{0} >> (kWordCells - 1 - last % kWordCells);
            if (!visit(static_cast<size_t>(row) * row_words_ + static_cast<size_t>(word), bits)) return;
        }
    }
}

void Cover::mark(const RECTL& rect) {
    visit_cells(rect, [this](size_t word, Word bits) {
        words_[word] |= bits;
        return true;
    });
}

bool Cover::is_blank(const RECTL& rect) const {
    bool blank = true;
    visit_cells(rect, [&](size_t word, Word bits) { return blank = (words_[word] & bits) == 0; });
    return blank;
}

}  // namespace kvprint
