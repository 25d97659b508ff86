#pragma once
// A page of pixels. Plain drawing goes to cairo; operations that read the page, and drawing under a clip path, are done
// pixel by pixel within the coverage of the shape.

#include "drawing/cairo_handles.h"
#include "drawing/canvas.h"
#include "drawing/resample.h"
#include "drawing/source_colours.h"

namespace kvjob {

// Where the job's device pixels lie on an output surface.
struct Placement {
    double scale;       // output units a device pixel
    double left, top;   // of the printable area's corner, output units
    int width, height;  // of the page, output units
};

class RasterCanvas : public Canvas {
public:
    // White paper. Throws std::runtime_error where the memory cannot be had.
    explicit RasterCanvas(const Placement& place);

    void set_clip(const Clip& clip) override;
    void draw(const Shape& shape, uint8_t rop, const Tint& tint) override;
    void draw_image(PixelSource& pixels, const Rect& target, uint8_t rop, const Tint& tint) override;
    double scale() const override { return place_.scale; }
    double hairline() const override { return 1 / place_.scale; }

    cairo_surface_t* surface() { return page_.get(); }
    // Output pixels that a draw of these device-pixel bounds may change under the current clip.
    Rect affected(const Box& bounds) const;
    // Bounds of a shape, and of an image's target.
    Box bounds_of(const Shape& shape);
    static Box bounds_of(const Rect& target);

private:
    struct Layer {  // coverage of an area, or colours of it
        Rect area;
        Surface surface;
    };
    struct ReducedSource {  // at the size at which it is drawn
        PixelBlock pixels;
        SourceColours colours;
    };

    Context make_context(cairo_surface_t* surface, const Rect& area) const;
    void draw_clip(cairo_t* context) const;
    void check(cairo_t* context);
    bool has_simple_clip() const { return !std::holds_alternative<Path>(clip_); }
    bool clip_is_open(const Rect& area) const;
    const Layer& clip_coverage();
    Layer coverage_of(const Shape& shape, const Rect& area);
    void restrict_to_clip(Layer& coverage);
    Layer tint_layer(const Tint& tint, const Rect& area) const;
    void combine(const Layer& coverage, uint8_t rop, const Tint& tint, const ReducedSource* source);
    Rect target_of(const Rect& target) const;

    Placement place_;
    Rect all_;
    Surface page_;
    Context context_;
    Clip clip_;
    Rect clip_bounds_;  // output pixels, rounded out
    Rect open_;         // output pixels that a rectangular clip covers wholly
    std::unique_ptr<Layer> clip_coverage_;
};

}  // namespace kvjob
