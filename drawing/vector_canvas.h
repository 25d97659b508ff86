#pragma once
// A page of a PDF or SVG file. Everything is drawn as it is, lines, text and pictures. What an operation makes of the
// page's own pixels is blended where the file can say it; else it is taken from a page of pixels that is drawn beside.

#include <functional>

#include "drawing/picture_layers.h"
#include "drawing/raster_canvas.h"
#include "drawing/stencil_run.h"

namespace kvjob {

// How far a page is drawn.
struct Moment {
    size_t record = 0, call = 0;  // records begun; calls that draw in the last of them
};

class VectorCanvas : public Canvas {
public:
    struct Options {
        cairo_surface_t* surface;
        Placement place;  // the scale gives points
        bool pdf;
        bool blending;  // with what is on the page, which then begins as white paper
        // The page of pixels, made when it is first needed; what of the page was drawn until then is played on it.
        Placement beside;
        double beside_dots_per_point;
        std::function<void(Canvas& onto, const Moment& until)> replay;
        uint64_t memory;  // bytes for what is placed of it
    };
    // The pictures are those of the page.
    VectorCanvas(const Options& options, Pictures& pictures);

    void finish_page();
    void begin_record() override { moment_ = {moment_.record + 1, 0}; }
    void set_clip(const Clip& clip) override;
    void draw(const Shape& shape, uint8_t rop, const Tint& tint) override;
    void draw_image(PixelSource& pixels, const Rect& target, uint8_t rop, const Tint& tint) override;
    double scale() const override { return options_.place.scale; }
    double hairline() const override;
    // Places are rounded to device pixels. A letter that needs no place of its own takes a byte of the file, else five.
    double letter_slack() const override { return 1; }
    double written_advance(double advance) const override;

private:
    void reset_context();
    void check();
    void clip_by(const Clip& clip);
    void end_group();
    bool blend(const Shape& shape, uint8_t rop, const Tint& tint);
    bool place_picture(const PixelSource& pixels, const Rect& target, uint8_t rop, const Tint& tint);
    static bool joins_run(const std::vector<PictureLayer>& layers, const Rect& target);
    void place_run();
    void place_layer(const PictureLayer& layer, const Rect& target);
    RasterCanvas& beside();
    bool all_pixels() const { return placed_ > options_.memory; }
    void put_beside(const Box& bounds, const std::function<void(RasterCanvas&)>& put);
    void take_from_beside(const Rect& area);
    void settle(const std::function<Box()>& bounds);
    void place_pending();

    Options options_;
    Pictures& pictures_;
    std::unique_ptr<RasterCanvas> beside_;
    Context context_;
    Clip clip_;
    Moment moment_;
    Rect pending_ = {};      // of the page beside, to be placed before anything is drawn over it
    uint64_t placed_ = 0;    // bytes
    StencilRun run_;         // of pictures that are not on the page yet
    bool in_group_ = false;  // what is drawn under a long clip path goes on the page as one
};

}  // namespace kvjob
