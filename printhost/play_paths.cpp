// Fills and strokes.

#include "printhost/page_player.h"

namespace kvprint {
namespace {

using kv::engine::Path;

constexpr size_t kFewestPointsOfBlock = 1000;

}  // namespace

void PagePlayer::fill(const fz_path* path, FillRule rule, fz_matrix ctm, Paint paint) {
    if (!is_drawing() || paint.alpha <= 0) return;
    const fz_rect bounds = fz_bound_path(context_, path, nullptr, ctm);
    if (canvas_.make_opaque(paint, nearest_pixels(bounds))) {
        fill_opaque(path, rule, ctm, paint.colour);
        return;
    }
    fz_rect rect;
    const bool is_rect = find_rect(context_, path, ctm, rect);
    const RECTL area = common(covering(bounds), canvas_.clip().bounds());
    const Rgb rgb(paint.colour);
    blend(is_rect ? Region(nearest_pixels(rect)) : scan(flatten(context_, path, ctm), rule, area), paint,
          [&](fz_device* device) {
              fz_fill_path(context_, device, path, rule == FillRule::EvenOdd, ctm, fz_device_rgb(context_),
                           rgb.components, paint.alpha, fz_default_color_params);
          });
}

void PagePlayer::fill_opaque(const fz_path* source, FillRule rule, fz_matrix ctm, ULONG colour) {
    fz_rect rect;
    if (find_rect(context_, source, ctm, rect)) {
        canvas_.fill(nearest_pixels(rect), colour);
        return;
    }
    Path path;
    add_path(context_, source, ctm, Points::Corners, path);
    if (path.empty()) return;
    const RECTFX bounds = path.bounds();
    if (bounds.xRight - bounds.xLeft == 1 || bounds.yBottom - bounds.yTop == 1) {  // thinner than a pixel
        canvas_.fill(nearest_pixels(fz_bound_path(context_, source, nullptr, ctm)), colour);
    } else if (path.block_count() > kMostPathBlocks) {
        canvas_.fill(scan(flatten(context_, source, ctm), rule, canvas_.clip().bounds()), colour);
    } else {
        canvas_.fill(path, rule == FillRule::EvenOdd ? FP_ALTERNATEMODE : FP_WINDINGMODE, colour);
    }
}

void PagePlayer::blend(const Region& region, Paint paint, const Draw& draw) {
    if (region.rect_count() <= kFinestRegion) {
        canvas_.blend(region, paint);
        return;
    }
    count_otherwise("translucent drawings too fine for outlines as images");
    const RECTL bounds = region.bounds();
    render({static_cast<float>(bounds.left), static_cast<float>(bounds.top), static_cast<float>(bounds.right),
            static_cast<float>(bounds.bottom)},
           draw);
}

void PagePlayer::stroke(const fz_path* path, const fz_stroke_state& state, fz_matrix ctm, Paint paint) {
    if (!is_drawing() || paint.alpha <= 0) return;
    const fz_rect bounds = fz_bound_path(context_, path, &state, ctm);
    const RECTL area = common(covering(bounds), canvas_.clip().bounds());
    const bool opaque = canvas_.make_opaque(paint, area);
    if (opaque && !is_uneven(state, ctm)) {
        stroke_opaque(path, state, ctm, paint.colour);
        return;
    }
    const Region region = region_of(area, [&](fz_device* device) {
        constexpr float kBlack[] = {0};
        fz_stroke_path(context_, device, path, &state, ctm, fz_device_gray(context_), kBlack, 1,
                       fz_default_color_params);
    });
    if (opaque) {
        canvas_.fill(region, paint.colour);
        return;
    }
    const Rgb rgb(paint.colour);
    blend(region, paint, [&](fz_device* device) {
        fz_stroke_path(context_, device, path, &state, ctm, fz_device_rgb(context_), rgb.components, paint.alpha,
                       fz_default_color_params);
    });
}

void PagePlayer::stroke_opaque(const fz_path* source, const fz_stroke_state& state, fz_matrix ctm, ULONG colour) {
    const float scale = fz_matrix_expansion(ctm);
    Path path;
    add_path(context_, source, ctm, Points::Centres, path);
    if (path.empty()) return;
    const bool dashed = state.dash_len > 0;
    if (!dashed && path.block_count() <= kMostPathBlocks) {
        canvas_.stroke(path, make_pen(state, scale, Dashes::None).line, colour);
        return;
    }
    std::vector<Figure> figures = flatten(context_, source, ctm);
    const bool cut = dashed && needs_cutting(state, scale, figures);
    if (cut) figures = cut_dashes(state, scale, figures);
    const Pen pen = make_pen(state, scale, cut ? Dashes::None : Dashes::OfThePen);
    if (!cut && path.block_count() <= kMostPathBlocks) {
        canvas_.stroke(path, pen.line, colour);
        return;
    }
    stroke_figures(figures, pen, colour);
}

void PagePlayer::stroke_figures(const std::vector<Figure>& figures, const Pen& pen, ULONG colour) {
    for (size_t next = 0; next < figures.size();) {
        Path part;
        for (size_t blocks = 0; next < figures.size() && blocks < kMostPathBlocks; ++next) {
            add_figure(figures[next], Points::Centres, part);
            blocks += 1 + figures[next].points.size() / kFewestPointsOfBlock;
        }
        if (!part.empty()) canvas_.stroke(part, pen.line, colour);
    }
}

}  // namespace kvprint
