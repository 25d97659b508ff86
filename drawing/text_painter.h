#pragma once
// Text records as shapes.

#include <unordered_map>

#include "drawing/cairo_handles.h"
#include "drawing/canvas.h"
#include "drawing/font_fit.h"
#include "drawing/font_store.h"
#include "drawing/glyph_run.h"

namespace kvjob {

// Glyphs of one face; bold and slanted where the face itself is not.
class GlyphShape : public Shape {
public:
    void paint(cairo_t* context) const override;
    Box extents(cairo_t* context) const override;

private:
    friend class TextPainter;
    void prepare(cairo_t* context) const;
    bool is_large(cairo_t* context) const;

    cairo_font_face_t* face_ = nullptr;
    cairo_matrix_t matrix_ = {};  // from the em to device pixels
    double emboldening_ = 0;      // device pixels
    std::vector<cairo_glyph_t> glyphs_;
    std::vector<cairo_text_cluster_t> clusters_;
    std::string text_;
};

class TextPainter {
public:
    // What becomes of fonts between pages: a file that holds each once needs them as the same objects.
    enum class Fonts { Dropped, Kept };
    TextPainter(FontStore& fonts, Fonts between_pages) : fonts_(fonts), between_pages_(between_pages) {}

    // Draws a run with its background. Throws BodyFault where the font cannot be had.
    void draw(const TextRun& run, const TextState& state, Canvas& canvas);
    // The widths of letters that follow each other, where the canvas lets them.
    void set_fits(FontFits fits) { fits_ = std::move(fits); }
    void end_page() {
        if (between_pages_ == Fonts::Dropped) faces_.clear();
    }

private:
    struct Line;
    void draw_background(const TextRun& run, const TextState& state, const Line& line, Canvas& canvas) const;
    void draw_lines(const Line& line, const TextState& state, Canvas& canvas) const;
    GlyphShape shape_of(const Line& line, const Canvas& canvas);
    static void place(const Line& line, const Canvas& canvas, GlyphShape& shape);
    cairo_font_face_t* cairo_face(const std::shared_ptr<Face>& face);

    FontStore& fonts_;
    Fonts between_pages_;
    FontFits fits_;
    std::unordered_map<const Face*, FontFace> faces_;
};

}  // namespace kvjob
