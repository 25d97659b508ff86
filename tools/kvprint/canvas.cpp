#include "tools/kvprint/canvas.h"

#include <algorithm>

#include "engine/region_outline.h"

namespace kvprint {

using kv::engine::Brush;
using kv::engine::Clip;
using kv::engine::Path;

Canvas::Canvas(kv::engine::Device& device, Played& played) : device_(device), played_(played) {
    const RECTL page = {0, 0, static_cast<LONG>(device.info().ulHorzRes), static_cast<LONG>(device.info().ulVertRes)};
    clips_.push_back({Region(page), Clip::everything()});
}

void Canvas::push(Region region) {
    Clip clip = region.is_rect() ? Clip::rectangle(region.bounds()) : Clip::region(region.rects());
    clips_.push_back({std::move(region), std::move(clip)});
}

void Canvas::pop() {
    if (clips_.size() > 1) clips_.pop_back();
}

void Canvas::note(BOOL result) {
    if (result != TRUE) failed_ = true;
}

void Canvas::fill(Path& path, FLONG options, ULONG colour) {
    Brush brush = Brush::solid(colour);
    note(device_.fill(path, &clips_.back().clip, brush, options));
    ++played_.fills;
}

void Canvas::fill(const RECTL& rect, ULONG colour) {
    Path path;
    path.add_rect(rect);
    fill(path, FP_WINDINGMODE, colour);
}

void Canvas::fill(const Region& region, ULONG colour) {
    // Rectangles of a region in pieces: no outline of a piece is one of more figures than it has rectangles.
    const std::vector<RECTL> rects = region.rects();
    for (size_t first = 0; first < rects.size(); first += kMostPathBlocks) {
        const size_t count = std::min(kMostPathBlocks, rects.size() - first);
        Path path;
        kv::engine::add_outlines(
            {rects.begin() + static_cast<ptrdiff_t>(first), rects.begin() + static_cast<ptrdiff_t>(first + count)},
            path);
        fill(path, FP_WINDINGMODE, colour);
    }
}

void Canvas::stroke(Path& path, const LINEATTRS& line, ULONG colour) {
    kv::engine::Transform identity({1, 0, 0, 1, 0, 0});
    Brush brush = Brush::solid(colour);
    note(device_.stroke(path, &clips_.back().clip, &identity, brush, line));
    ++played_.strokes;
}

}  // namespace kvprint
