#pragma once
// Clip regions in whole device pixels: bands of rows with the same spans, as a graphics engine keeps them.

#include <functional>
#include <vector>

#include "platform/win32.h"

namespace kvprint {

class Region {
public:
    struct Span {
        LONG left, right;
        bool operator==(const Span&) const = default;
    };

    Region() = default;
    explicit Region(const RECTL& rect);
    // The pixels of a mask: visible(x, y) for all x and y within the bounds.
    static Region from_rows(const RECTL& bounds, const std::function<std::vector<Span>(LONG y)>& row_spans);

    Region intersected(const Region& other) const;
    bool empty() const { return bands_.empty(); }
    bool is_rect() const { return bands_.size() == 1 && bands_[0].spans.size() == 1; }
    RECTL bounds() const;
    std::vector<RECTL> rects() const;

private:
    struct Band {
        LONG top, bottom;
        std::vector<Span> spans;
    };
    void append(LONG top, LONG bottom, std::vector<Span> spans);

    std::vector<Band> bands_;
};

}  // namespace kvprint
