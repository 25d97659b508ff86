#include "engine/path.h"

#include <algorithm>
#include <limits>

namespace kv::engine {
namespace {
size_t live_paths = 0;
}

POINTFIX corner_at(LONG x, LONG y) {
    static constexpr LONG kMost = std::numeric_limits<FIX>::max() / 16;
    const auto fixed = [](LONG pixel) { return std::clamp(pixel, -kMost, kMost) * 16; };
    return {fixed(x), fixed(y)};
}

Path::Path() : PATHOBJ{} { ++live_paths; }
Path::~Path() { --live_paths; }
size_t Path::live_count() { return live_paths; }

void Path::move_to(POINTFIX point) {
    if (figure_open_) runs_.back().flags |= PD_ENDSUBPATH;
    figure_open_ = false;
    start_ = point;
}

// Continues the last run of the kind, or begins one; the first of a figure takes its start point.
Path::Run& Path::run_for(FLONG kind) {
    if (figure_open_ && (runs_.back().flags & PD_BEZIERS) == kind) return runs_.back();
    if (figure_open_) {
        runs_.push_back({kind, {}});
    } else {
        runs_.push_back({kind | PD_BEGINSUBPATH | PD_RESETSTYLE, {start_}});
        ++cCurves;
    }
    figure_open_ = true;
    return runs_.back();
}

void Path::append(FLONG kind, std::initializer_list<POINTFIX> points) {
    constexpr size_t kSegment = 3;
    const size_t block = std::max<size_t>(block_size_, kSegment) / kSegment * kSegment;
    auto& all = run_for(kind).points;
    full_blocks_ -= all.size() / block;
    all.insert(all.end(), points);
    full_blocks_ += all.size() / block;
}

void Path::line_to(POINTFIX point) { append(0, {point}); }

void Path::curve_to(POINTFIX control1, POINTFIX control2, POINTFIX end) {
    fl |= PO_BEZIERS;
    append(PD_BEZIERS, {control1, control2, end});
}

void Path::close() {
    if (!figure_open_) run_for(0);  // a figure of its start point alone
    runs_.back().flags |= PD_ENDSUBPATH | PD_CLOSEFIGURE;
    figure_open_ = false;
}

void Path::add_rect(const RECTL& pixels) {
    move_to(corner_at(pixels.left, pixels.top));
    line_to(corner_at(pixels.right, pixels.top));
    line_to(corner_at(pixels.right, pixels.bottom));
    line_to(corner_at(pixels.left, pixels.bottom));
    close();
}

RECTFX Path::bounds() const {
    if (runs_.empty()) return {};
    const POINTFIX& first = runs_.front().points.front();
    RECTFX all = {first.x, first.y, first.x, first.y};
    for (const Run& run : runs_) {
        for (const POINTFIX& point : run.points) {
            all = {std::min(all.xLeft, point.x), std::min(all.yTop, point.y), std::max(all.xRight, point.x),
                   std::max(all.yBottom, point.y)};
        }
    }
    // The right and the bottom are exclusive, as far as coordinates go.
    const auto behind = [](FIX end) { return end == std::numeric_limits<FIX>::max() ? end : end + 1; };
    return {all.xLeft, all.yTop, behind(all.xRight), behind(all.yBottom)};
}

ULONG Path::block_length(const Run& run) const {
    const ULONG left = static_cast<ULONG>(run.points.size() - offset_);
    ULONG wanted = std::max<ULONG>(block_size_, 1);
    if (run.flags & PD_BEZIERS) {
        const ULONG start = offset_ == 0 && (run.flags & PD_BEGINSUBPATH) ? 1 : 0;
        wanted = std::max<ULONG>((wanted - std::min(wanted, start)) / 3, 1) * 3 + start;
    }
    return std::min(wanted, left);
}

bool Path::next_block(PATHDATA& data) {
    if (run_ == runs_.size()) {
        data = {};
        return false;
    }
    Run& run = runs_[run_];
    const ULONG count = block_length(run);
    const bool last_of_run = offset_ + count == run.points.size();
    FLONG flags = run.flags;
    if (offset_ > 0) flags &= ~FLONG{PD_BEGINSUBPATH | PD_RESETSTYLE};
    if (!last_of_run) flags &= ~FLONG{PD_ENDSUBPATH | PD_CLOSEFIGURE};
    // A figure that was left open ends with its last run.
    if (last_of_run && run_ + 1 == runs_.size()) flags |= PD_ENDSUBPATH;
    data = {flags, count, run.points.data() + offset_};
    offset_ = last_of_run ? 0 : offset_ + count;
    if (last_of_run) ++run_;
    return run_ < runs_.size();
}

}  // namespace kv::engine

using kv::engine::Path;

void APIENTRY PATHOBJ_vEnumStart(PATHOBJ* path) { static_cast<Path*>(path)->start_enumeration(); }

BOOL APIENTRY PATHOBJ_bEnum(PATHOBJ* path, PATHDATA* data) { return static_cast<Path*>(path)->next_block(*data); }

void APIENTRY PATHOBJ_vGetBounds(PATHOBJ* path, RECTFX* bounds) { *bounds = static_cast<Path*>(path)->bounds(); }

void APIENTRY EngDeletePath(PATHOBJ* path) { delete static_cast<Path*>(path); }
