#include "record/path_blocks.h"

#include "support/assert.h"

namespace kv {

bool for_each_block(PATHOBJ* path, BlockSink& sink) {
    PATHOBJ_vEnumStart(path);
    for (BOOL more = TRUE; more;) {
        PATHDATA data = {};
        more = PATHOBJ_bEnum(path, &data);
        FLONG begin = data.flags & (PD_BEGINSUBPATH | PD_RESETSTYLE);
        const FLONG end = data.flags & (PD_ENDSUBPATH | PD_CLOSEFIGURE);
        const FLONG middle = data.flags & ~(begin | end);
        std::span<const POINTFIX> rest(data.pptfx, data.count);
        while (rest.size() > kLargestCount) {
            // A curve that begins the figure has a start point before its segments of three points.
            const bool curve_start = (middle & PD_BEZIERS) && (begin & PD_BEGINSUBPATH);
            const size_t piece = curve_start ? (kLargestCount - 1) / 3 * 3 + 1 : kLargestCount;
            KV_ASSERT(!(middle & PD_BEZIERS) || (piece - curve_start) % 3 == 0);
            if (!sink.take({begin | middle, rest.first(piece)})) return false;
            rest = rest.subspan(piece);
            begin = 0;
        }
        // The engine hands out a path without a point as one block that has none.
        if (!rest.empty() && !sink.take({begin | middle | end, rest})) return false;
    }
    return true;
}

BOOL BlockJoiner::alloc(size_t figures) {
    most_figures_ = figures;
    return points_.alloc(kLargestCount) && (!area_ || figures == 0 || starts_.alloc(figures));
}

bool BlockJoiner::give(FLONG end_flags) {
    if (count_ == 0) return true;
    const PathBlock block = {flags_ | (curves_ ? FLONG{PD_BEZIERS} : 0) | end_flags, {points_.get(), count_}};
    count_ = 0;
    flags_ = 0;
    return out_.take(block);
}

bool BlockJoiner::line_to(const POINTFIX& point) {
    if (!make_room(curves_ ? 3 : 1)) return false;
    if (curves_) {
        put(last_);
        put(point);
    }
    put(point);
    return true;
}

bool BlockJoiner::begin_figure(const POINTFIX& start, FLONG flags) {
    if (open_ && !end_figure(0)) return false;
    open_ = true;
    if (area_) {
        if (figures_ >= most_figures_) return false;  // the path has more of them than a moment ago
        starts_[figures_] = start;
    }
    if (area_ && figures_ > 0) {
        ++figures_;
        return line_to(start);
    }
    ++figures_;
    flags_ = flags & (PD_BEGINSUBPATH | PD_RESETSTYLE);
    put(start);
    return true;
}

bool BlockJoiner::end_figure(FLONG flags) {
    open_ = false;
    KV_ASSERT(figures_ > 0);
    return area_ ? line_to(starts_[figures_ - 1]) : give(flags & (PD_ENDSUBPATH | PD_CLOSEFIGURE));
}

bool BlockJoiner::take(const PathBlock& block) {
    std::span<const POINTFIX> rest = block.points;
    if ((block.flags & PD_BEGINSUBPATH) && !rest.empty()) {
        if (!begin_figure(rest[0], block.flags)) return false;
        rest = rest.subspan(1);
    }
    if (!open_) return true;
    for (size_t i = 0; i < rest.size(); ++i) {
        if (!(block.flags & PD_BEZIERS)) {
            if (!line_to(rest[i])) return false;
            continue;
        }
        if (!make_room(i % 3 == 0 ? 3 : 1)) return false;
        put(rest[i]);
    }
    return !(block.flags & PD_ENDSUBPATH) || end_figure(block.flags);
}

bool BlockJoiner::finish() {
    if (open_ && !end_figure(0)) return false;
    if (!area_) return true;
    while (figures_ > 1) {
        if (!line_to(starts_[--figures_ - 1])) return false;
    }
    return give(PD_ENDSUBPATH | PD_CLOSEFIGURE);
}

}  // namespace kv
