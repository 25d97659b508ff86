#pragma once
// The page as the driver is given it: drawing calls under a stack of clips, all in device pixels.

#include <map>
#include <string>
#include <vector>

#include "engine/device.h"
#include "tools/kvprint/region.h"

namespace kvprint {

struct Played {
    size_t pages = 0, fills = 0, strokes = 0;
    // What the driver was not given, or not exactly, by kind.
    std::map<std::string, size_t> missing;
};

class Canvas {
public:
    Canvas(kv::engine::Device& device, Played& played);

    // Clips. The page is the outermost one and is never popped.
    void push(Region region);
    void push_same() { push(clips_.back().region); }
    void pop();
    const Region& clip() const { return clips_.back().region; }

    // Colours are in the surface's order, blue low. options: FP_*.
    void fill(kv::engine::Path& path, FLONG options, ULONG colour);
    void fill(const RECTL& rect, ULONG colour);
    void fill(const Region& region, ULONG colour);
    void stroke(kv::engine::Path& path, const LINEATTRS& line, ULONG colour);

    void count_missing(const char* kind) { ++played_.missing[kind]; }
    // A hook refused a call: the document has failed.
    bool failed() const { return failed_; }

private:
    struct ClipLevel {
        Region region;
        kv::engine::Clip clip;
    };
    void note(BOOL result);

    kv::engine::Device& device_;
    Played& played_;
    std::vector<ClipLevel> clips_;
    bool failed_ = false;
};

// Entries that the driver makes of one path at most.
inline constexpr size_t kMostPathBlocks = 65000;

}  // namespace kvprint
