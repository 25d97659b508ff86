#include "drawing/text_painter.h"

#include <cairo-ft.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "drawing/shapes.h"
#include "reader/utf.h"

namespace kvjob {
namespace {

constexpr double kSlant = 0.25;            // of simulated italics
constexpr double kEmboldening = 1.0 / 24;  // of the em, of simulated bold

// What no text may hold is taken for unknown.
uint32_t printable(uint32_t character) {
    const bool sound = character < 0x110000 && !is_high_surrogate(character) && !is_low_surrogate(character);
    return character == 0 || (sound && character >= 0x20) ? character : kUnknownCharacter;
}

}  // namespace

// A run with what its drawing needs.
struct TextPainter::Line {
    const FontDefinition& font;
    std::shared_ptr<Face> face;
    std::vector<PlacedGlyph> glyphs;
    Baseline direction;
    double em, stretch;

    double length() const {
        double sum = 0;
        for (const PlacedGlyph& glyph : glyphs) sum += glyph.advance;
        return sum;
    }
    // A box along the baseline, from `above` it to `below` it.
    Path box(double above, double below) const {
        const double x = glyphs.front().x, y = glyphs.front().y, along = length();
        auto corner = [&](double forward, double up) -> std::array<int32_t, 2> {
            return {static_cast<int32_t>(std::lround(x + forward * direction.cosine - up * direction.sine)),
                    static_cast<int32_t>(std::lround(y - forward * direction.sine - up * direction.cosine))};
        };
        PathEntry entry = {kBeginFigure | kEndFigure | kCloseFigure, {}};
        entry.points = {corner(0, above), corner(along, above), corner(along, -below), corner(0, -below)};
        return {entry};
    }
};

void GlyphShape::prepare(cairo_t* context) const {
    cairo_set_font_face(context, face_);
    cairo_set_font_matrix(context, &matrix_);
    const FontOptions options(cairo_font_options_create());
    cairo_font_options_set_hint_style(options.get(), CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(options.get(), CAIRO_HINT_METRICS_OFF);
    cairo_font_options_set_antialias(options.get(), CAIRO_ANTIALIAS_GRAY);
    cairo_set_font_options(context, options.get());
}

// Pictures of letters are kept by cairo, up to some 16,000 of them, so that large ones are drawn as paths.
bool GlyphShape::is_large(cairo_t* context) const {
    constexpr double kLargestPicture = 128;  // pixels of the em
    cairo_matrix_t matrix;
    cairo_get_matrix(context, &matrix);
    const double em = std::max(std::hypot(matrix_.xx, matrix_.yx), std::hypot(matrix_.xy, matrix_.yy));
    return em * matrix.xx > kLargestPicture;
}

void GlyphShape::paint(cairo_t* context) const {
    cairo_save(context);
    prepare(context);
    const auto count = static_cast<int>(glyphs_.size());
    if (cairo_surface_has_show_text_glyphs(cairo_get_target(context))) {
        cairo_show_text_glyphs(context, text_.data(), static_cast<int>(text_.size()), glyphs_.data(), count,
                               clusters_.data(), static_cast<int>(clusters_.size()), cairo_text_cluster_flags_t(0));
    } else if (is_large(context)) {
        cairo_new_path(context);
        cairo_glyph_path(context, glyphs_.data(), count);
        cairo_fill(context);
    } else {
        cairo_show_glyphs(context, glyphs_.data(), count);
    }
    if (emboldening_ > 0) {
        cairo_new_path(context);
        cairo_glyph_path(context, glyphs_.data(), count);
        cairo_set_line_width(context, emboldening_);
        cairo_set_line_join(context, CAIRO_LINE_JOIN_MITER);
        cairo_stroke(context);
    }
    cairo_restore(context);
}

Box GlyphShape::extents(cairo_t* context) const {
    cairo_save(context);
    prepare(context);
    cairo_text_extents_t box = {};
    cairo_glyph_extents(context, glyphs_.data(), static_cast<int>(glyphs_.size()), &box);
    cairo_restore(context);
    const double left = glyphs_.front().x + box.x_bearing, top = glyphs_.front().y + box.y_bearing;
    return {left - emboldening_, top - emboldening_, left + box.width + emboldening_, top + box.height + emboldening_};
}

cairo_font_face_t* TextPainter::cairo_face(const std::shared_ptr<Face>& face) {
    FontFace& known = faces_[face.get()];
    if (known) return known.get();
    static const cairo_user_data_key_t kOwner = {};
    known.reset(cairo_ft_font_face_create_for_ft_face(face->get(), FT_LOAD_NO_HINTING | FT_LOAD_NO_BITMAP));
    auto* owner = new std::shared_ptr<Face>(face);  // cairo may keep the face longer than anybody here
    const auto release = [](void* held) { delete static_cast<std::shared_ptr<Face>*>(held); };
    if (cairo_font_face_set_user_data(known.get(), &kOwner, owner, release) != CAIRO_STATUS_SUCCESS) {
        release(owner);
        faces_.erase(face.get());
        throw BodyFault("the font cannot be drawn with");
    }
    return known.get();
}

GlyphShape TextPainter::shape_of(const Line& line, const Canvas& canvas) {
    constexpr int32_t kBold = 600;
    GlyphShape shape;
    shape.face_ = cairo_face(line.face);
    const double angle = line.font.escapement * 2 * std::numbers::pi / 3600;
    cairo_matrix_init_rotate(&shape.matrix_, -angle);
    if (line.font.italic && !line.face->italic()) {
        const cairo_matrix_t slanted = {1, 0, -kSlant, 1, 0, 0};
        cairo_matrix_multiply(&shape.matrix_, &slanted, &shape.matrix_);
    }
    cairo_matrix_scale(&shape.matrix_, line.em * line.stretch, line.em);
    if (line.font.weight >= kBold && !line.face->bold()) shape.emboldening_ = line.em * kEmboldening;
    place(line, canvas, shape);
    return shape;
}

// A letter that stands nearly where the one before it leads, stands there. Where letters lead is asked for with the
// advances of the font, and comes out with those of the file: what differs is made up for at the next letter that needs
// a place of its own. One off the baseline has its place from the file's page, whatever led there.
void TextPainter::place(const Line& line, const Canvas& canvas, GlyphShape& shape) {
    constexpr double kBaseline = 0.001;  // of the em: what cairo takes for the same one
    const double slack = canvas.letter_slack(), em = line.em * line.stretch;
    double shown_x = 0, shown_y = 0, asked_x = 0, asked_y = 0;  // where the letter before leads
    for (const PlacedGlyph& glyph : line.glyphs) {
        if (!line.face->can_draw(glyph.glyph)) continue;
        if (shape.glyphs_.empty()) shown_x = asked_x = glyph.x, shown_y = asked_y = glyph.y;
        const double off_x = glyph.x - shown_x, off_y = glyph.y - shown_y;
        if (std::hypot(off_x, off_y) > slack) {
            const double off_baseline = off_x * line.direction.sine + off_y * line.direction.cosine;
            const bool anew = std::abs(off_baseline) > kBaseline * line.em;
            shown_x = glyph.x, asked_x = anew ? glyph.x : asked_x + off_x;
            shown_y = glyph.y, asked_y = anew ? glyph.y : asked_y + off_y;
        }
        shape.glyphs_.push_back({glyph.glyph, asked_x, asked_y});
        const size_t before = shape.text_.size();
        line.face->append_text(shape.text_, printable(glyph.character), glyph.glyph);
        shape.clusters_.push_back({static_cast<int>(shape.text_.size() - before), 1});
        const double advance = line.face->advance_of(glyph.glyph), written = canvas.written_advance(advance);
        asked_x += advance * em * line.direction.cosine;
        asked_y -= advance * em * line.direction.sine;
        shown_x += written * em * line.direction.cosine;
        shown_y -= written * em * line.direction.sine;
    }
}

// Opaque text covers its rectangle, or what the font's lines would.
void TextPainter::draw_background(const TextRun& run, const TextState& state, const Line& line, Canvas& canvas) const {
    constexpr uint8_t kOpaque = 2, kCopy = 0xF0;
    if (state.mode != kOpaque) return;
    const Tint tint = Tint::of_bgr(state.background);
    if (run.opaque) return canvas.draw(RectShape(*run.opaque), kCopy, tint);
    const Path box = line.box(line.face->ascent() * line.em, line.face->descent() * line.em);
    canvas.draw(FillShape(box, false), kCopy, tint);
}

void TextPainter::draw_lines(const Line& line, const TextState& state, Canvas& canvas) const {
    constexpr double kUnderline = -0.1, kThrough = 0.26, kThickness = 0.05;  // of the em
    constexpr uint8_t kCopy = 0xF0;
    auto draw = [&](double place) {
        const Path box = line.box((place + kThickness / 2) * line.em, -(place - kThickness / 2) * line.em);
        canvas.draw(FillShape(box, false), kCopy, Tint::of_bgr(state.colour));
    };
    if (line.font.underline) draw(kUnderline);
    if (line.font.strike_out) draw(kThrough);
}

void TextPainter::draw(const TextRun& run, const TextState& state, Canvas& canvas) {
    constexpr uint8_t kCopy = 0xF0;
    const FontDefinition& font = fonts_.definition(state.font);
    std::shared_ptr<Face> face = fonts_.face(font);
    if (!face) throw BodyFault("the font cannot be opened");
    Line line = {font, face, place_glyphs(run, font, face.get()), baseline_of(font), -1.0 * font.height, 1};
    line.stretch = stretch_of(font, *face);
    if (const auto fit = fits_.find(-font.height); fit != fits_.end()) line.stretch *= fit->second;
    draw_background(run, state, line, canvas);
    if (line.em <= 0) return;
    constexpr double kLargestEm = 30000;  // output units; the font library ends at 65535
    if (line.em * std::max(1.0, line.stretch) * canvas.scale() > kLargestEm)
        throw BodyFault("letters too large to draw");
    const GlyphShape shape = shape_of(line, canvas);
    if (!shape.glyphs_.empty()) canvas.draw(shape, kCopy, Tint::of_bgr(state.colour));
    draw_lines(line, state, canvas);
}

}  // namespace kvjob
