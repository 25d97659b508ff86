// Fills and strokes.

#include "tools/kvprint/page_player.h"

namespace kvprint {
namespace {

using kv::engine::Path;

constexpr float kBlack[] = {0};
constexpr size_t kFewestPointsOfBlock = 1000;

}  // namespace

void PagePlayer::fill(const fz_path* source, FillRule rule, fz_matrix ctm, ULONG colour) {
    if (!is_drawing()) return;
    fz_rect rect;
    if (find_rect(context_, source, ctm, rect)) {
        canvas_.fill(nearest_pixels(rect), colour);
        return;
    }
    Path path;
    add_path(context_, source, ctm, path);
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

void PagePlayer::stroke(const fz_path* source, const fz_stroke_state& state, fz_matrix ctm, ULONG colour) {
    if (!is_drawing()) return;
    if (is_uneven(state, ctm)) {
        stroke_region(source, state, ctm, colour);
        return;
    }
    const float scale = fz_matrix_expansion(ctm);
    Path path;
    add_path(context_, source, ctm, path);
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
            add_figure(figures[next], part);
            blocks += 1 + figures[next].points.size() / kFewestPointsOfBlock;
        }
        if (!part.empty()) canvas_.stroke(part, pen.line, colour);
    }
}

void PagePlayer::stroke_region(const fz_path* path, const fz_stroke_state& state, fz_matrix ctm, ULONG colour) {
    const RECTL area = common(covering(fz_bound_path(context_, path, &state, ctm)), canvas_.clip().bounds());
    const Region region = region_of(area, [&](fz_device* device) {
        fz_stroke_path(context_, device, path, &state, ctm, fz_device_gray(context_), kBlack, 1,
                       fz_default_color_params);
    });
    canvas_.fill(region, colour);
}

}  // namespace kvprint
