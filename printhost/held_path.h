#pragma once
// Paths that are filled in one colour or drawn with one pen, one after the other, held back so that they go as one: a
// job tells many figures in one record in half the bytes of as many records.

#include <memory>

#include "engine/path.h"
#include "printhost/ink_places.h"

namespace kvprint {

// How a path is drawn.
struct PathStyle {
    bool stroked;
    FLONG options;   // of a fill: FP_*
    LINEATTRS line;  // of a stroke: without a style
    ULONG colour;
    RECTL clip;

    bool operator==(const PathStyle& other) const;
};

class HeldPath {
public:
    // Of a page of that many pixels.
    HeldPath(LONG width, LONG height) : places_(width, height) {}

    // False when the path held so far has to be drawn first, or this one is none to be held. ink: what it paints.
    bool add(kv::engine::Path& path, PathStyle style, const RECTL& ink);
    bool empty() const { return !path_; }
    const PathStyle& style() const { return style_; }
    // Nothing is held afterwards.
    std::unique_ptr<kv::engine::Path> take();

private:
    bool takes(const PathStyle& style, bool is_convex, const RECTL& ink) const;

    std::unique_ptr<kv::engine::Path> path_;
    PathStyle style_ = {};
    bool all_convex_ = false;
    InkPlaces places_;
};

}  // namespace kvprint
