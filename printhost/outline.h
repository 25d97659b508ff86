#pragma once
// MuPDF's paths in device pixels: as the engine's paths, as lines alone, and as rectangles.

#include <vector>

#include "engine/path.h"
#include "printhost/geometry.h"

namespace kvprint {

struct Figure {
    std::vector<fz_point> points;
    bool closed = false;
};

// Lines that no curve leaves by more than a tenth of a pixel.
std::vector<Figure> flatten(fz_context* context, const fz_path* path, fz_matrix ctm);

// Points of an area to fill go to the nearest corners of pixels, those of a line into the pixel that they lie in: lines
// run through the centres of pixels.
enum class Points { Corners, Centres };
void add_path(fz_context* context, const fz_path* source, fz_matrix ctm, Points points, kv::engine::Path& target);
void add_figure(const Figure& figure, Points points, kv::engine::Path& target);

// True for one figure of four sides along the axes.
bool find_rect(fz_context* context, const fz_path* path, fz_matrix ctm, fz_rect& rect);

}  // namespace kvprint
