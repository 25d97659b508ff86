// Text.

#include "tools/kvprint/page_player.h"

namespace kvprint {
namespace {

using kv::engine::Path;

void drop_path(fz_context* context, fz_path* path) { fz_drop_path(context, path); }
using GlyphPath = Held<fz_path, drop_path>;

// Blocks of one path of glyphs; longer texts are several.
constexpr size_t kGlyphBlocks = 4000;

fz_matrix place_of(const fz_text_span& span, const fz_text_item& item, fz_matrix ctm) {
    const fz_matrix place = {span.trm.a, span.trm.b, span.trm.c, span.trm.d, item.x, item.y};
    return fz_concat(place, ctm);
}

// Calls visit(path) for the outline of each glyph that has one.
template <class Visit>
void for_each_outline(fz_context* context, const fz_text_span& span, fz_matrix ctm, Visit visit) {
    for (int i = 0; i < span.len; ++i) {
        const fz_text_item& item = span.items[i];
        if (item.gid < 0) continue;
        const auto path = make_held<GlyphPath>(
            context, [&] { return fz_outline_glyph(context, span.font, item.gid, place_of(span, item, ctm)); });
        if (path) visit(path.get());
    }
}

}  // namespace

void PagePlayer::fill_text(const fz_text* text, fz_matrix ctm, Paint paint) {
    if (!is_drawing() || paint.alpha <= 0) return;
    const RECTL bounds = covering(fz_bound_text(context_, text, nullptr, ctm));
    if (is_empty(common(bounds, canvas_.clip().bounds()))) return;
    const bool opaque = canvas_.make_opaque(paint, bounds);
    for (const fz_text_span* span = text->head; span; span = span->next) {
        if (span->font->t3procs) {
            draw_type3(*span, ctm, paint);
        } else if (opaque) {
            fill_outlines(*span, ctm, paint.colour);
        } else {
            const Rgb rgb(paint.colour);
            blend(scan(outlines_of(*span, ctm), FillRule::Winding, canvas_.clip().bounds()), paint,
                  [&](fz_device* device) {
                      fz_fill_text(context_, device, text, ctm, fz_device_rgb(context_), rgb.components, paint.alpha,
                                   fz_default_color_params);
                  });
        }
    }
}

void PagePlayer::fill_outlines(const fz_text_span& span, fz_matrix ctm, ULONG colour) {
    std::optional<Path> glyphs;
    auto flush = [&] {
        if (glyphs && !glyphs->empty()) canvas_.fill(*glyphs, FP_WINDINGMODE, colour);
        glyphs.reset();
    };
    for_each_outline(context_, span, ctm, [&](const fz_path* outline) {
        if (!glyphs) glyphs.emplace();
        add_path(context_, outline, fz_identity, *glyphs);
        if (glyphs->block_count() > kGlyphBlocks) flush();
    });
    flush();
}

std::vector<Figure> PagePlayer::outlines_of(const fz_text_span& span, fz_matrix ctm) {
    std::vector<Figure> figures;
    for_each_outline(context_, span, ctm, [&](const fz_path* outline) {
        for (Figure& figure : flatten(context_, outline, fz_identity)) figures.push_back(std::move(figure));
    });
    return figures;
}

// Glyphs that are drawings of their own; some have colours, the others take the text's.
void PagePlayer::draw_type3(const fz_text_span& span, fz_matrix ctm, Paint paint) {
    constexpr int kGlyphs = 256;
    const std::optional<Paint> outer = glyph_paint_;
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
        for_each_outline(context_, *span, fz_identity,
                         [&](const fz_path* outline) { stroke(outline, state, ctm, paint); });
    }
}

}  // namespace kvprint
