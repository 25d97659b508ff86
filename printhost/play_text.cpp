// Text.

#include <cmath>
#include <numbers>

#include "printhost/page_player.h"
#include "printhost/text_runs.h"

namespace kvprint {
namespace {

using kv::engine::Path;

// Letters of less than a pixel are no logical font's.
constexpr float kSmallestEm = 1;
// Blocks of one path of glyphs; longer texts are several.
constexpr size_t kGlyphBlocks = 4000;
// Degrees: what leans less has a level baseline for the driver.
constexpr double kLevel = 0.9;

fz_matrix place_of(const fz_text_span& span, const fz_text_item& item, fz_matrix ctm) {
    const fz_matrix place = {span.trm.a, span.trm.b, span.trm.c, span.trm.d, item.x, item.y};
    return fz_concat(place, ctm);
}

double degrees_of(const LetterShape& shape) { return -shape.angle * 180 / std::numbers::pi; }

}  // namespace

void PagePlayer::fill_text(const fz_text* text, fz_matrix ctm, Paint paint) {
    if (!is_drawing() || paint.alpha <= 0) return;
    const RECTL bounds = covering(fz_bound_text(context_, text, nullptr, ctm));
    if (is_empty(common(bounds, canvas_.clip().bounds()))) return;
    const bool opaque = canvas_.make_opaque(paint, bounds);
    for (const fz_text_span* span = text->head; span; span = span->next) {
        if (opaque && fill_as_text(*span, ctm, paint)) continue;
        if (span->font->t3procs) {
            draw_type3(*span, ctm, paint);
            continue;
        }
        letters_in(*span->font).as_outlines += letters_of(*span);
        if (opaque) {
            fill_outlines(*span, ctm, paint.colour);
            continue;
        }
        count_otherwise("translucent texts over other drawing as shapes");
        const Rgb rgb(paint.colour);
        blend(scan(outlines_of(*span, ctm), FillRule::Winding, canvas_.clip().bounds()), paint, [&](fz_device* device) {
            fz_fill_text(context_, device, text, ctm, fz_device_rgb(context_), rgb.components, paint.alpha,
                         fz_default_color_params);
        });
    }
}

bool PagePlayer::fill_as_text(const fz_text_span& span, fz_matrix ctm, Paint paint) {
    const auto shape = shape_of(fz_concat(span.trm, ctm));
    const JobFont* job_font = shape ? fonts_.job_font(span.font, shape->slant) : nullptr;
    if (!shape || (job_font && std::min(shape->across, shape->up) < kSmallestEm)) {
        count_otherwise("mirrored or tiny texts as outlines");
        return false;
    }
    if (!job_font) return false;
    const auto font = fonts_.sized_font(span.font, *shape);
    const bool level = std::abs(degrees_of(*shape)) < kLevel && span.wmode == 0;
    std::vector<PlacedGlyph> glyphs;
    std::vector<int> others;
    for (int i = 0; i < span.len; ++i) {
        const fz_text_item& item = span.items[i];
        if (item.gid < 0) continue;
        const auto number = job_font->number_of(item.gid);
        if (!number) {
            others.push_back(i);
            continue;
        }
        const fz_point at = fz_transform_point_xy(item.x, item.y, ctm);
        const char16_t character = character_of(text_at(span, i));
        const bool in_map = character && job_font->file->face(0).glyph_of(character) == *number;
        glyphs.push_back({at.x, at.y, *number, in_map ? character : u'\0'});
    }
    letters_in(*span.font).as_text += glyphs.size();
    for (const TextRun& run : split_runs(std::move(glyphs), degrees_of(*shape), span.wmode)) {
        canvas_.draw_text(run, level, font, paint.colour);
        if (list_) list_->add(run, job_font->file);
    }
    for (const int item : others) draw_apart(span, item, ctm, paint);
    return true;
}

// A letter that the font's file does not hold; of a font as it stands also the box or blank for what it lacks.
void PagePlayer::draw_apart(const fz_text_span& span, int item, fz_matrix ctm, Paint paint) {
    fz_text_span letter = span;
    letter.items = &span.items[item];
    letter.len = 1;
    if (span.font->t3procs) {
        draw_type3(letter, ctm, paint);
    } else {
        letters_in(*span.font).as_outlines += letters_of(letter);
        fill_outlines(letter, ctm, paint.colour);
    }
}

// Calls visit(outline, place) for each glyph that has an outline.
template <class Visit>
void PagePlayer::for_each_outline(const fz_text_span& span, fz_matrix ctm, Visit visit) {
    for (int i = 0; i < span.len; ++i) {
        const fz_text_item& item = span.items[i];
        if (item.gid < 0) continue;
        if (fz_path* outline = fonts_.outline_of(span.font, item.gid)) visit(outline, place_of(span, item, ctm));
    }
}

void PagePlayer::fill_outlines(const fz_text_span& span, fz_matrix ctm, ULONG colour) {
    std::optional<Path> glyphs;
    auto flush = [&] {
        if (glyphs && !glyphs->empty()) canvas_.fill(*glyphs, FP_WINDINGMODE, colour);
        glyphs.reset();
    };
    for_each_outline(span, ctm, [&](fz_path* outline, fz_matrix place) {
        if (!glyphs) glyphs.emplace();
        add_path(context_, outline, place, Points::Corners, *glyphs);
        if (glyphs->block_count() > kGlyphBlocks) flush();
    });
    flush();
}

std::vector<Figure> PagePlayer::outlines_of(const fz_text_span& span, fz_matrix ctm) {
    std::vector<Figure> figures;
    for_each_outline(span, ctm, [&](fz_path* outline, fz_matrix place) {
        for (Figure& figure : flatten(context_, outline, place)) figures.push_back(std::move(figure));
    });
    return figures;
}

// Glyphs that are drawings of their own; some have colours, the others take the text's.
void PagePlayer::draw_type3(const fz_text_span& span, fz_matrix ctm, Paint paint) {
    constexpr int kGlyphs = 256;
    const std::optional<Paint> outer = glyph_paint_;
    count_otherwise("texts whose letters are drawings as drawings");
    letters_in(*span.font).as_outlines += letters_of(span);
    for (int i = 0; i < span.len; ++i) {
        const int glyph = span.items[i].gid;
        if (glyph < 0 || glyph >= kGlyphs) continue;
        const bool takes_colour = span.font->t3flags[glyph] & FZ_DEVFLAG_MASK;
        glyph_paint_ = takes_colour ? std::optional(paint) : std::nullopt;
        const fz_matrix place = place_of(span, span.items[i], ctm);
        replay([&] { fz_run_t3_glyph(context_, span.font, glyph, place, device()); });
    }
    glyph_paint_ = outer;
}

void PagePlayer::stroke_text(const fz_text* text, const fz_stroke_state& state, fz_matrix ctm, Paint paint) {
    if (!is_drawing() || paint.alpha <= 0) return;
    for (const fz_text_span* span = text->head; span; span = span->next) {
        if (span->font->t3procs) {
            draw_type3(*span, ctm, paint);
            continue;
        }
        letters_in(*span->font).stroked += letters_of(*span);
        for_each_outline(*span, fz_identity, [&](fz_path* outline, fz_matrix place) {
            const auto letter = make_held<GlyphPath>(context_, [&] { return fz_clone_path(context_, outline); });
            with_errors(context_, [&] { fz_transform_path(context_, letter.get(), place); });
            stroke(letter.get(), state, ctm, paint);
        });
    }
}

}  // namespace kvprint
