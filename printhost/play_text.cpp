// Text.

#include <cmath>
#include <numbers>

#include "printhost/page_player.h"
#include "printhost/text_runs.h"

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

// The size at which a glyph matrix, from an em to pixels, draws a font. Nothing for what no logical font says: mirrored
// and slanted letters, and letters of less than a pixel.
std::optional<FontStore::Size> size_of(const fz_matrix& matrix) {
    constexpr float kUneven = 0.01f, kSlanted = 0.01f, kSmallest = 1;
    constexpr float kSteps = 64, kAngleSteps = 1 << 16;  // what differs by less is the same font
    const float across = std::hypot(matrix.a, matrix.b), up = std::hypot(matrix.c, matrix.d);
    const float area = matrix.b * matrix.c - matrix.a * matrix.d;  // y points down on the page, and up in the font
    if (!(std::min(across, up) >= kSmallest) || area <= 0) return std::nullopt;
    if (std::abs(matrix.a * matrix.c + matrix.b * matrix.d) > kSlanted * across * up) return std::nullopt;
    const bool even = std::abs(across - up) <= kUneven * up;
    auto stepped = [](float value, float steps) { return std::round(value * steps) / steps; };
    return FontStore::Size{stepped(even ? up : across, kSteps), stepped(up, kSteps),
                           stepped(std::atan2(matrix.b, matrix.a), kAngleSteps)};
}

double degrees_of(const FontStore::Size& size) { return -size.angle * 180 / std::numbers::pi; }

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
        } else if (!opaque) {
            letters_in(*span->font).as_outlines += letters_of(*span);
            count_otherwise("translucent texts over other drawing as shapes");
            const Rgb rgb(paint.colour);
            blend(scan(outlines_of(*span, ctm), FillRule::Winding, canvas_.clip().bounds()), paint,
                  [&](fz_device* device) {
                      fz_fill_text(context_, device, text, ctm, fz_device_rgb(context_), rgb.components, paint.alpha,
                                   fz_default_color_params);
                  });
        } else if (fill_as_text(*span, ctm, paint.colour)) {
            letters_in(*span->font).as_text += letters_of(*span);
        } else {
            letters_in(*span->font).as_outlines += letters_of(*span);
            fill_outlines(*span, ctm, paint.colour);
        }
    }
}

bool PagePlayer::fill_as_text(const fz_text_span& span, fz_matrix ctm, ULONG colour) {
    const auto file = fonts_.file_of(span.font);
    if (!file) {
        count_otherwise("texts in fonts of other kinds as outlines");
        return false;
    }
    fz_matrix em = fz_concat(span.trm, ctm);
    const auto size = size_of(em);
    if (!size) {
        count_otherwise("slanted, mirrored or tiny texts as outlines");
        return false;
    }
    kv::engine::Font& font = fonts_.font_of(span.font, *size);
    std::vector<PlacedGlyph> glyphs;
    for (int i = 0; i < span.len; ++i) {
        const fz_text_item& item = span.items[i];
        // Glyph 0 stands for what the font lacks; a text of it alone is not recorded.
        if (item.gid <= 0 || item.gid > 0xFFFF) continue;
        const fz_point at = fz_transform_point_xy(item.x, item.y, ctm);
        const bool in_map = item.ucs >= ' ' && item.ucs < 0xFFFF &&
                            file->face(0).glyph_of(static_cast<char32_t>(item.ucs)) == static_cast<HGLYPH>(item.gid);
        glyphs.push_back(
            {at.x, at.y, static_cast<uint16_t>(item.gid), in_map ? static_cast<char16_t>(item.ucs) : u'\0'});
    }
    for (const TextRun& run : split_runs(std::move(glyphs), degrees_of(*size), span.wmode)) {
        draw_run(run, font, colour);
        if (list_) list_->add(run, file);
    }
    fill_missing_glyphs(span, ctm, colour);
    return true;
}

void PagePlayer::draw_run(const TextRun& run, kv::engine::Font& font, ULONG colour) {
    kv::engine::Placement placement = {run.origins, {}};
    std::u16string characters;
    std::vector<USHORT> indices;
    for (const PlacedGlyph& glyph : run.glyphs) {
        characters += glyph.character;
        indices.push_back(glyph.glyph);
    }
    const kv::engine::Vector unit = font.to_device(1, 0);
    const double advance = font.advance(indices.back()), length = std::hypot(unit.x, unit.y);
    const POINTL last = placement.origins.back();
    placement.end = {last.x + static_cast<LONG>(std::lround(advance * unit.x / length)),
                     last.y + static_cast<LONG>(std::lround(advance * unit.y / length))};
    auto draw = [&](kv::engine::String text) {
        if (run.off_baseline) text.flAccel |= SO_DXDY;
        canvas_.draw_text(text, font, colour);
    };
    if (run.by_character) {
        draw(kv::engine::String(font, characters, placement));
    } else {
        draw(kv::engine::String(font, indices, placement));
    }
}

// The box or blank that a font has for what it lacks.
void PagePlayer::fill_missing_glyphs(const fz_text_span& span, fz_matrix ctm, ULONG colour) {
    fz_text_span missing = span;
    for (int i = 0; i < span.len; ++i) {
        if (span.items[i].gid != 0) continue;
        missing.items = &span.items[i];
        missing.len = 1;
        fill_outlines(missing, ctm, colour);
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
        add_path(context_, outline, fz_identity, Points::Corners, *glyphs);
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
        letters_in(*span->font).stroked += letters_of(*span);
        for_each_outline(context_, *span, fz_identity,
                         [&](const fz_path* outline) { stroke(outline, state, ctm, paint); });
    }
}

}  // namespace kvprint
