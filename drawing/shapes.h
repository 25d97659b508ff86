#pragma once
// The shapes of paths and rectangles.

#include "drawing/canvas.h"

namespace kvjob {

// Adds a path's figures to the context's path. Figures are closed only where the path says so.
void add_path(cairo_t* context, const Path& path);

class FillShape : public Shape {
public:
    FillShape(const Path& path, bool even_odd) : path_(path), even_odd_(even_odd) {}
    void paint(cairo_t* context) const override;
    Box extents(cairo_t* context) const override;

private:
    const Path& path_;
    bool even_odd_;
};

class RectShape : public Shape {
public:
    explicit RectShape(const Rect& rect) : rect_(rect) {}
    void paint(cairo_t* context) const override;
    Box extents(cairo_t* context) const override;

private:
    Rect rect_;
};

// A line of the drawing state. It runs through the centres of the pixels that the path names.
class StrokeShape : public Shape {
public:
    StrokeShape(const Path& path, const DrawState& state, double hairline)
        : path_(path), state_(state), hairline_(hairline) {}
    void paint(cairo_t* context) const override;
    Box extents(cairo_t* context) const override;

private:
    void prepare(cairo_t* context) const;
    const Path& path_;
    const DrawState& state_;
    double hairline_;
};

// The lengths of a line's dashes and gaps in device pixels, empty for a line without gaps.
std::vector<double> dashes_of(const DrawState& state);

}  // namespace kvjob
