#pragma once
// The outlines of a clip region, as a graphics engine traces them.

#include <vector>

#include "engine/path.h"

namespace kv::engine {

// Adds the outlines of disjoint rectangles to a path: figures of alternately horizontal and vertical sides, outer
// ones clockwise and holes the other way, so that both fill modes fill the region. The rectangles stand in bands
// from top to bottom, those of a band are of one height and go from left to right; rectangles in any other order
// become a figure each.
void add_outlines(const std::vector<RECTL>& rects, Path& path);

}  // namespace kv::engine
