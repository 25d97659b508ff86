#pragma once
// Strokes as the pens of the printer interface: whole pixels of width, dashes without an offset.

#include <vector>

#include "platform/ddi.h"
#include "printhost/outline.h"

namespace kvprint {

struct Pen {
    LINEATTRS line = {};
    std::vector<FLOAT_LONG> style;  // what line.pstyle points to
};

enum class Dashes { OfThePen, None };

// scale: device pixels a unit of the stroke. A line of no width is a cosmetic one, a pixel wide at every resolution.
Pen make_pen(const fz_stroke_state& state, float scale, Dashes dashes);

// A pen is as wide across the page as along it: true when a matrix makes a stroke differ from that by a pixel.
bool is_uneven(const fz_stroke_state& state, fz_matrix ctm);

// Dashes begin at an offset, or the pen's whole lengths are so far from their lengths that they would drift on these
// figures.
bool needs_cutting(const fz_stroke_state& state, float scale, const std::vector<Figure>& figures);
// The dashes themselves, as open figures.
std::vector<Figure> cut_dashes(const fz_stroke_state& state, float scale, const std::vector<Figure>& figures);

}  // namespace kvprint
