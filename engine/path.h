#pragma once
// Paths as the graphics engine hands them to a driver: figures of lines and Bezier curves in 28.4 device
// coordinates, enumerated in blocks.

#include <initializer_list>
#include <vector>

#include "platform/ddi.h"

namespace kv::engine {

inline constexpr FIX to_fix(double pixels) {
    const double sixteenths = pixels * 16;
    return static_cast<FIX>(sixteenths < 0 ? sixteenths - 0.5 : sixteenths + 0.5);
}

// A pixel's corner; what is further out than fixed-point numbers reach is taken to their ends.
POINTFIX corner_at(LONG x, LONG y);

class Path : public PATHOBJ {
public:
    Path();
    Path(const Path&) = delete;
    Path& operator=(const Path&) = delete;
    ~Path();

    void move_to(POINTFIX point);
    void line_to(POINTFIX point);
    void curve_to(POINTFIX control1, POINTFIX control2, POINTFIX end);
    void close();
    void add_rect(const RECTL& pixels);
    bool empty() const { return runs_.empty(); }
    RECTFX bounds() const;
    // Blocks that an enumeration hands out at most.
    size_t block_count() const { return runs_.size() + full_blocks_; }

    // Points in a block at most; a block of curves holds whole segments, so at least one. Called before the first
    // point.
    void set_block_size(ULONG points) { block_size_ = points; }

    void start_enumeration() { run_ = offset_ = 0; }
    // False with the last block.
    bool next_block(PATHDATA& data);

    static size_t live_count();

private:
    // Points of one figure that are all lines or all curves. The first run of a figure holds its start point.
    struct Run {
        FLONG flags;
        std::vector<POINTFIX> points;
    };
    Run& run_for(FLONG kind);
    void append(FLONG kind, std::initializer_list<POINTFIX> points);
    ULONG block_length(const Run& run) const;

    std::vector<Run> runs_;
    bool figure_open_ = false;
    POINTFIX start_ = {};
    ULONG block_size_ = 1024;
    size_t full_blocks_ = 0;
    size_t run_ = 0, offset_ = 0;
};

}  // namespace kv::engine
