#pragma once
// A page of a PDF file. Everything is drawn as it is, lines, text and pictures; what an operation makes of the page's
// own pixels is taken from a page of pixels that is drawn beside it.

#include "drawing/raster_canvas.h"

namespace kvjob {

class PdfCanvas : public Canvas {
public:
    // The scale gives points. `beside` is null for pages without such operations, which are then refused.
    PdfCanvas(cairo_surface_t* pdf, const Placement& place, RasterCanvas* beside, double beside_dots_per_point);

    void set_clip(const Clip& clip) override;
    void finish_page();
    void draw(const Shape& shape, uint8_t rop, const Tint& tint) override;
    void draw_image(PixelSource& pixels, const Rect& target, uint8_t rop, const Tint& tint) override;
    double scale() const override { return place_.scale; }
    double hairline() const override;
    // Places are rounded to device pixels. A letter that needs no place of its own takes a byte of the file, else five.
    double letter_slack() const override { return 1; }

private:
    void reset_context();
    void check();
    void clip_by(const Clip& clip);
    void end_group();
    RasterCanvas& beside() const;
    void place_pixels(const Rect& area);
    void place_picture(const PixelSource& pixels, const Rect& target);

    cairo_surface_t* pdf_;
    Placement place_;
    RasterCanvas* beside_;
    double beside_dots_per_point_;
    Context context_;
    Clip clip_;
    bool in_group_ = false;  // what is drawn under a long clip path goes on the page as one
};

}  // namespace kvjob
