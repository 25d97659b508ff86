#pragma once
// Clip regions in whole device pixels: bands of rows with the same spans, as a graphics engine keeps them.

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
    // Adds rows below those there are; spans go from left to right and do not touch.
    void append(LONG top, LONG bottom, std::vector<Span> spans);

    Region intersected(const Region& other) const;
    bool empty() const { return bands_.empty(); }
    bool is_rect() const { return bands_.size() == 1 && bands_[0].spans.size() == 1; }
    RECTL bounds() const;
    // In bands from top to bottom, from left to right in a band.
    std::vector<RECTL> rects() const;
    size_t rect_count() const { return rect_count_; }
    bool operator==(const Region&) const = default;

private:
    struct Band {
        LONG top, bottom;
        std::vector<Span> spans;
        bool operator==(const Band&) const = default;
    };
    std::vector<Band> bands_;
    size_t rect_count_ = 0;
};

}  // namespace kvprint
