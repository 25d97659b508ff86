#pragma once
// Where things of several colours lie on a page, by rectangles: whether the order of two drawings shows.

#include <vector>

#include "platform/win32.h"

namespace kvprint {

class InkPlaces {
public:
    // Of a page of that many pixels. What lies beside it counts at its edges.
    InkPlaces(LONG width, LONG height);

    void mark(const RECTL& rect, ULONG colour);
    // True when something of another colour may lie there. The last answer for places that are too crowded to say.
    bool has_other(const RECTL& rect, ULONG colour) const;
    // The same for whatever colour.
    bool has_any(const RECTL& rect) const;
    // A rectangle that has been marked, or may have been.
    bool has_marked(const RECTL& rect) const;
    void clear();

private:
    struct Place {
        RECTL rect;
        ULONG colour;
    };
    using Cell = std::vector<Place>;
    static constexpr LONG kCell = 128;  // pixels
    static constexpr size_t kMostInCell = 128;

    template <class Test>
    bool has(const RECTL& rect, Test counts) const;
    template <class Visit>
    void visit_cells(const RECTL& rect, Visit visit) const;

    LONG columns_, rows_;
    std::vector<Cell> cells_;
    std::vector<size_t> used_;  // cells that are not empty
};

}  // namespace kvprint
