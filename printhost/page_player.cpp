#include "printhost/page_player.h"

#include "printhost/run_budget.h"
#include "printhost/warnings.h"

namespace kvprint {
namespace {

// Pictures are taken of places of a page up to so many times its area; what blends after them is one of the whole.
constexpr LONGLONG kMostPatched = 32;
// A pattern whose drawings come to more than this is smaller as an image.
constexpr float kMostTileCells = 400, kMostTileDrawings = 4000;

constexpr const char* kGroups = "translucent groups as images";

// On white paper these modes give the colour that is drawn.
bool is_plain_on_white(int blend_mode) { return blend_mode == FZ_BLEND_MULTIPLY || blend_mode == FZ_BLEND_DARKEN; }

fz_matrix cell_matrix(const fz_matrix& ctm, float across, float down) {
    return fz_translate(across * ctm.a + down * ctm.c, across * ctm.b + down * ctm.d);
}

// The cells of a pattern, counted from its origin, that an area of the page touches.
fz_irect cells_of(const PagePlayer::Tiling& tiling, const RECTL& area) {
    const fz_rect page = {static_cast<float>(area.left), static_cast<float>(area.top), static_cast<float>(area.right),
                          static_cast<float>(area.bottom)};
    fz_rect within = fz_transform_rect(page, fz_invert_matrix(tiling.ctm));
    within = fz_intersect_rect(within, tiling.area);
    if (fz_is_empty_rect(within) || !(tiling.across > 0) || !(tiling.down > 0)) return fz_empty_irect;
    constexpr float kSlack = 1e-3f;  // of a cell, for rounding
    const fz_rect& view = tiling.view;
    return fz_irect_from_rect(fz_make_rect(std::ceil((within.x0 - view.x1) / tiling.across + kSlack),
                                           std::ceil((within.y0 - view.y1) / tiling.down + kSlack),
                                           std::floor((within.x1 - view.x0) / tiling.across - kSlack) + 1,
                                           std::floor((within.y1 - view.y0) / tiling.down - kSlack) + 1));
}

constexpr double kMostCells = 1 << 24, kMostCellPixels = 4e9;
// What a page's patterns have together, and what each has all the same.
constexpr double kMostCellsOfPage = 1 << 25, kFewestCells = 1 << 14;

}  // namespace

bool PagePlayer::thin_out(Tiling& tiling) {
    if (!(tiling.across > 0) || !(tiling.down > 0)) return false;
    const RECTL page = canvas_.page();
    const fz_rect box = {0, 0, static_cast<float>(page.right), static_cast<float>(page.bottom)};
    const fz_rect shown = fz_intersect_rect(fz_transform_rect(box, fz_invert_matrix(tiling.ctm)), tiling.area);
    const double area = double{shown.x1 - shown.x0} * (shown.y1 - shown.y0);
    const double view = double{tiling.view.x1 - tiling.view.x0} * (tiling.view.y1 - tiling.view.y0);
    const double pixels = std::abs(double{tiling.ctm.a} * tiling.ctm.d - double{tiling.ctm.b} * tiling.ctm.c);
    const double cell_pixels = std::clamp(std::min(view, area) * pixels, 1.0, double{kFarthest} * kFarthest);
    const double most = std::max(std::min(kMostCells, kMostCellPixels / cell_pixels), 1.0);
    const double cells = area / (double{tiling.across} * tiling.down);
    if (!(cells > 0)) return false;
    const bool too_many = cells > most;
    const double left = std::max(kMostCellsOfPage - cells_, kFewestCells), some = std::min(most, left);
    if (!too_many && cells > some) renderer_.note_coarse();
    cells_ += std::min(cells, some);
    if (cells <= some) return false;
    const auto sparser = static_cast<float>(std::ceil(std::sqrt(cells / some)));
    tiling.across *= sparser;
    tiling.down *= sparser;
    return too_many;
}

LONGLONG area_of(const RECTL& rect) { return LONGLONG{rect.right - rect.left} * (rect.bottom - rect.top); }

void PagePlayer::keep_page(Blends blends) {
    const RECTL page = canvas_.clip().bounds();
    picture_.emplace(context_, page, renderer_.picture_scale(page, blends));
    whole_groups_ = std::move(blends.whole);
}

void PagePlayer::begin_capture(Capture::Kind kind, const RECTL& area) {
    capture_.emplace(context_, kind);
    capture_area_ = common(area, canvas_.clip().bounds());
    cost_before_ = RunBudget::cost_so_far();
    const bool of_the_page = kind == Capture::Kind::Patch || kind == Capture::Kind::Rest;
    if (of_the_page && !is_empty(capture_area_)) before_ = picture_->shown(capture_area_);
}

void PagePlayer::end_captured() {
    if (!capture_->end()) return;
    Capture capture = std::move(*capture_);
    capture_.reset();
    finish_capture(capture);
}

bool PagePlayer::is_whole_group() const {
    return keeps_pictures() && groups_ <= whole_groups_.size() && whole_groups_[groups_ - 1];
}

PagePicture::Container PagePlayer::kind_of_group(bool knockout, int blend_mode, float alpha) const {
    if (knockout) return PagePicture::Container::Knockout;
    const bool plain = alpha == 1 && blend_mode == FZ_BLEND_NORMAL && !is_whole_group();
    return plain ? PagePicture::Container::Plain : PagePicture::Container::Other;
}

bool PagePlayer::begin_group(fz_rect area, bool knockout, int blend_mode, float alpha) {
    if (std::exchange(unwrapping_, false)) return false;
    const RECTL bounds = covering(area);
    const bool whole = is_whole_group();
    if (kind_of_group(knockout, blend_mode, alpha) == PagePicture::Container::Plain) return false;
    if (!whole && !knockout && alpha == 1 && is_plain_on_white(blend_mode) && canvas_.is_blank(bounds)) return false;
    const bool blends = blend_mode != FZ_BLEND_NORMAL;
    if (!keeps_pictures()) {
        count_otherwise(blends ? "blend modes as images" : kGroups);
        group_alpha_ = alpha;
        begin_capture(knockout || blends ? Capture::Kind::Layer : Capture::Kind::Group, bounds);
        return true;
    }
    count_otherwise(blends || whole ? "blend modes as images" : kGroups);
    patched_ += area_of(common(bounds, canvas_.clip().bounds()));
    if (patched_ <= kMostPatched * area_of(canvas_.page())) {
        begin_capture(Capture::Kind::Patch, bounds);
    } else {
        begin_capture(Capture::Kind::Rest, {0, 0, 0x7FFFFFFF, 0x7FFFFFFF});
    }
    return true;
}

void PagePlayer::begin_mask(fz_rect area) {
    count_otherwise("soft masks as images");
    begin_capture(keeps_pictures() ? Capture::Kind::Patch : Capture::Kind::Layer, covering(area));
}

void PagePlayer::begin_tile(const Tiling& tiling) {
    tiling_ = tiling;
    begin_capture(Capture::Kind::Tile, covering(fz_transform_rect(tiling.area, tiling.ctm)));
}

Renderer::Effort PagePlayer::effort_of(const Capture& capture, size_t layers) const {
    return {capture.depth() + layers, false, std::max(RunBudget::cost_so_far() - cost_before_, 0.0)};
}

void PagePlayer::finish_capture(Capture& capture) {
    capture.close();
    if (!is_drawing() || is_empty(capture_area_)) return;
    switch (capture.kind()) {
        case Capture::Kind::Tile:
            finish_tile(capture);
            break;
        case Capture::Kind::Patch:
        case Capture::Kind::Rest:
            note_in_images(capture);
            finish_patch();
            break;
        case Capture::Kind::Group:
            if (capture.is_single()) {
                play_single(capture);
                break;
            }
            [[fallthrough]];
        case Capture::Kind::Layer:
            note_in_images(capture);
            renderer_.render(
                capture_area_, [&](fz_device* device) { capture.play(device); },
                [&](const Rendering& rendering) { draw_rendering(rendering); }, effort_of(capture, 0));
    }
}

void PagePlayer::note_in_images(const Capture& capture) {
    for (const auto& [kind, count] : capture.letters()) canvas_.played().letters[kind].in_images += count;
}

void PagePlayer::play_single(const Capture& capture) {
    --canvas_.played().otherwise[kGroups];
    unwrapping_ = true;
    alpha_ = group_alpha_;
    replay([&] { capture.play(device()); });
    alpha_ = 1;
}

void PagePlayer::finish_tile(const Capture& capture) {
    const Tiling tiling = tiling_;
    const fz_irect cells = cells_of(tiling, capture_area_);
    const float count = static_cast<float>(cells.x1 - cells.x0) * static_cast<float>(cells.y1 - cells.y0);
    const bool plain = capture.is_flat() || !picture_;
    if (plain && count <= kMostTileCells && count * static_cast<float>(capture.drawings()) <= kMostTileDrawings) {
        play_tile(capture, cells);
        return;
    }
    count_otherwise("tiled patterns as images");
    note_in_images(capture);
    renderer_.render(
        capture_area_,
        [&](fz_device* device) {
            fz_begin_tile(context_, device, tiling.area, tiling.view, tiling.across, tiling.down, tiling.ctm);
            capture.play(device);
            fz_end_tile(context_, device);
        },
        [&](const Rendering& rendering) { draw_rendering(rendering); }, effort_of(capture, 1));
}

void PagePlayer::note_captured_stroke(const fz_stroke_state& state, fz_matrix ctm) {
    constexpr float kHairline = 1.5f;  // device pixels below which a line is one wide
    if (state.linewidth * fz_matrix_expansion(ctm) < kHairline) capture_->count_hairline();
}

// A line of one pixel along a cell's edge may lie wholly beyond it, in a pixel that has to be shown all the same.
fz_rect PagePlayer::seen_of_cell(const Capture& capture) const {
    const float pixel = 1 / std::max(fz_matrix_expansion(tiling_.ctm), 1 / kFarthest);
    return capture.has_hairlines() ? fz_expand_rect(tiling_.view, pixel) : tiling_.view;
}

void PagePlayer::play_tile(const Capture& capture, const fz_irect& cells) {
    const Tiling tiling = tiling_;
    const fz_rect seen = seen_of_cell(capture);
    for (int row = cells.y0; row < cells.y1; ++row) {
        for (int column = cells.x0; column < cells.x1; ++column) {
            const fz_matrix move = cell_matrix(tiling.ctm, static_cast<float>(column) * tiling.across,
                                               static_cast<float>(row) * tiling.down);
            const fz_quad cell = fz_transform_quad(fz_quad_from_rect(seen), fz_concat(tiling.ctm, move));
            const Figure outline = {{cell.ul, cell.ur, cell.lr, cell.ll}, true};
            canvas_.push(canvas_.clip().intersected(scan({outline}, FillRule::Winding, canvas_.clip().bounds())));
            if (is_drawing()) replay([&] { capture.play(device(), move.e, move.f); });
            canvas_.pop();
        }
    }
}

void PagePlayer::finish_patch() {
    if (!before_) return;  // could not be taken, and that was told
    const Renderer::Picture before = std::move(*before_);
    before_.reset();
    renderer_.difference(before, picture_->shown(capture_area_),
                         [&](const Rendering& rendering) { draw_rendering(rendering); });
}

void PagePlayer::finish(bool cut) {
    if (renderer_.is_coarse() && !cut) {
        warnings_of(context_).add("some of it is drawn coarser than it is: too much is to be rendered");
    }
    if (!capture_) return;
    Capture rest = std::move(*capture_);
    capture_.reset();
    canvas_.pop_all();
    finish_capture(rest);
}

void PagePlayer::render(fz_rect bounds, const Draw& draw, Renderer::Effort effort) {
    const RECTL area = common(covering(bounds), canvas_.clip().bounds());
    if (is_empty(area)) return;
    renderer_.render(
        area, draw, [&](const Rendering& rendering) { draw_rendering(rendering); }, effort);
}

void PagePlayer::draw_rendering(const Rendering& rendering) {
    const RECTL all = {0, 0, rendering.bitmap->width(), rendering.bitmap->height()};
    const Transfer transfer = {*rendering.bitmap, nullptr, all, rendering.target};
    if (rendering.opaque) {
        canvas_.draw(transfer);
    } else {
        canvas_.blend(transfer, Canvas::Alpha::PerPixel, 1);
    }
}

}  // namespace kvprint
