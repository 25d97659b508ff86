#pragma once
// Pictures brought to the size at which they are drawn: each target pixel is the mean of the source area that it
// covers.

#include <cstdint>
#include <span>
#include <vector>

#include "reader/geometry.h"

namespace kvjob {

// Premultiplied 0xAARRGGBB pixels of an area of the page.
struct PixelBlock {
    Rect area;  // output pixels
    std::vector<uint32_t> pixels;
    int width() const { return area.right - area.left; }
    const uint32_t* row(int y) const {
        return pixels.data() + static_cast<size_t>(y - area.top) * static_cast<size_t>(width());
    }
};

// Takes the rows of a source one after another, so that it never holds the source.
class Resampler {
public:
    // The target may be turned over in either direction; only what lies in `visible` is made.
    Resampler(int32_t source_width, int32_t source_height, const Rect& target, const Rect& visible);

    bool nothing_visible() const { return block_.pixels.empty(); }
    void add_row(std::span<const uint32_t> row);  // premultiplied, from the top
    PixelBlock take() { return std::move(block_); }

private:
    // What a target pixel takes from the source: columns from first to last, the outer ones in part.
    struct Span {
        int32_t first, last;
        float first_weight, last_weight;
    };
    struct Channels {
        float a, r, g, b;
    };

    void squeeze(std::span<const uint32_t> row);
    void add_squeezed(int32_t target_row, float weight);
    void finish(int32_t target_row);

    int32_t source_height_;
    Rect target_;  // ordered
    bool flipped_across_, flipped_down_;
    PixelBlock block_;
    std::vector<Span> columns_;       // by visible column
    std::vector<Channels> squeezed_;  // the current source row at the target's width
    std::vector<Channels> sum_;       // of the target row under way
    int32_t next_source_ = 0;
    double rows_per_target_, weight_ = 0;
};

}  // namespace kvjob
