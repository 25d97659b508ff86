#pragma once
// What the brush identifiers of a job lay down.

#include <unordered_map>

#include "drawing/cairo_handles.h"
#include "drawing/canvas.h"
#include "reader/job_map.h"

namespace kvjob {

class BrushTable {
public:
    // Whether hatches are drawn as pixels or as lines.
    enum class Drawing { Pixels, Lines };

    // Hatches keep their pitch on paper: eight pixels of 96 to the inch.
    BrushTable(const JobMap& map, int resolution, Drawing drawing)
        : map_(map), resolution_(resolution), drawing_(drawing) {}

    // The tile is good until end_page. Throws BodyFault for a brush that cannot be had, or one too many for the job's
    // memory.
    Tint tint(uint32_t id);
    void end_page();

private:
    Surface make_tile(const Brush& brush);
    Surface make_hatch(const Brush& brush) const;

    const JobMap& map_;
    int resolution_;
    Drawing drawing_;
    std::unordered_map<uint32_t, Surface> tiles_;
    uint64_t held_ = 0;  // bytes of patterns
};

}  // namespace kvjob
