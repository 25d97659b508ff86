#pragma once
// Plays a PDF page onto a canvas: fills and strokes as paths, clips as regions.

#include <functional>

#include "tools/kvprint/canvas.h"
#include "tools/kvprint/mupdf.h"
#include "tools/kvprint/pen.h"
#include "tools/kvprint/scan.h"

namespace kvprint {

class PagePlayer {
public:
    PagePlayer(fz_context* context, Canvas& canvas) : context_(context), canvas_(canvas) {}

    // The device that MuPDF draws the page on. Its owner closes and drops it.
    fz_device* make_fz_device();

    void fill(const fz_path* path, FillRule rule, fz_matrix ctm, ULONG colour);
    void stroke(const fz_path* path, const fz_stroke_state& state, fz_matrix ctm, ULONG colour);
    void clip_to_path(const fz_path* path, FillRule rule, fz_matrix ctm);
    // Any drawing as a clip: where it leaves ink.
    using Draw = std::function<void(fz_device*)>;
    void clip_to_drawing(fz_rect bounds, const Draw& draw);
    void clip_to_same() { canvas_.push_same(); }
    void pop_clip() { canvas_.pop(); }
    void count_missing(const char* kind) {
        if (hidden_ == 0) canvas_.count_missing(kind);
    }
    // Content that defines a soft mask or a tile is not drawn.
    void hide() { ++hidden_; }
    void show() { --hidden_; }
    bool is_drawing() const { return hidden_ == 0 && !canvas_.clip().empty() && !canvas_.failed(); }

private:
    // The pixels of the area that a drawing covers for the most part.
    Region region_of(const RECTL& area, const Draw& draw);
    void stroke_figures(const std::vector<Figure>& figures, const Pen& pen, ULONG colour);
    void stroke_region(const fz_path* path, const fz_stroke_state& state, fz_matrix ctm, ULONG colour);

    fz_context* context_;
    Canvas& canvas_;
    int hidden_ = 0;
};

}  // namespace kvprint
