#include "tools/kvprint/page_player.h"

#include <algorithm>
#include <cmath>

namespace kvprint {
namespace {

using kv::engine::Brush;
using kv::engine::Clip;
using kv::engine::Path;

// Device coordinates beyond this are no page's; 28.4 fixed point would overflow.
constexpr float kFarthest = 1 << 26;

POINTFIX to_device(fz_point point) {
    auto fix = [](float value) { return kv::engine::to_fix(std::clamp(value, -kFarthest, kFarthest)); };
    return {fix(point.x), fix(point.y)};
}

struct Walk {
    Path& path;
    fz_matrix ctm;
    POINTFIX map(float x, float y) const { return to_device(fz_transform_point_xy(x, y, ctm)); }
};

const fz_path_walker kWalker = {
    [](fz_context*, void* walk, float x, float y) {
        auto& to = *static_cast<Walk*>(walk);
        to.path.move_to(to.map(x, y));
    },
    [](fz_context*, void* walk, float x, float y) {
        auto& to = *static_cast<Walk*>(walk);
        to.path.line_to(to.map(x, y));
    },
    [](fz_context*, void* walk, float x1, float y1, float x2, float y2, float x3, float y3) {
        auto& to = *static_cast<Walk*>(walk);
        to.path.curve_to(to.map(x1, y1), to.map(x2, y2), to.map(x3, y3));
    },
    [](fz_context*, void* walk) { static_cast<Walk*>(walk)->path.close(); },
    nullptr,
    nullptr,
    nullptr,
    nullptr,
};

void convert(fz_context* context, const fz_path* source, fz_matrix ctm, Path& target) {
    Walk walk = {target, ctm};
    fz_walk_path(context, source, &kWalker, &walk);
}

LONG nearest_pixel(float value) { return static_cast<LONG>(std::lround(std::clamp(value, -kFarthest, kFarthest))); }

// Corners of a path of one figure with straight sides, until it turns out to be something else.
struct RectProbe {
    fz_matrix ctm;
    std::vector<fz_point> corners;
    bool polygon = true;
    void add(float x, float y) { corners.push_back(fz_transform_point_xy(x, y, ctm)); }
};

const fz_path_walker kRectWalker = {
    [](fz_context*, void* state, float x, float y) {
        auto& probe = *static_cast<RectProbe*>(state);
        probe.polygon = probe.polygon && probe.corners.empty();
        probe.add(x, y);
    },
    [](fz_context*, void* state, float x, float y) { static_cast<RectProbe*>(state)->add(x, y); },
    [](fz_context*, void* state, float, float, float, float, float, float) {
        static_cast<RectProbe*>(state)->polygon = false;
    },
    [](fz_context*, void*) {},
    nullptr,
    nullptr,
    nullptr,
    nullptr,
};

bool find_rect(fz_context* context, const fz_path* path, fz_matrix ctm, RECTL& rect) {
    RectProbe probe = {ctm, {}};
    fz_walk_path(context, path, &kRectWalker, &probe);
    auto& corners = probe.corners;
    auto same = [](float a, float b) { return std::abs(a - b) < 0.01f; };
    if (corners.size() == 5 && same(corners[0].x, corners[4].x) && same(corners[0].y, corners[4].y)) {
        corners.pop_back();
    }
    if (!probe.polygon || corners.size() != 4) return false;
    const auto& [a, b, c, d] = std::tie(corners[0], corners[1], corners[2], corners[3]);
    const bool across_first = same(a.y, b.y) && same(b.x, c.x) && same(c.y, d.y) && same(d.x, a.x);
    const bool down_first = same(a.x, b.x) && same(b.y, c.y) && same(c.x, d.x) && same(d.y, a.y);
    if (!across_first && !down_first) return false;
    rect = {nearest_pixel(std::min(a.x, c.x)), nearest_pixel(std::min(a.y, c.y)), nearest_pixel(std::max(a.x, c.x)),
            nearest_pixel(std::max(a.y, c.y))};
    return true;
}

RECTL common(const RECTL& a, const RECTL& b) {
    return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right), std::min(a.bottom, b.bottom)};
}

RECTL covering(fz_rect rect) {
    auto whole = [](float value) { return static_cast<LONG>(std::clamp(value, -kFarthest, kFarthest)); };
    return {whole(std::floor(rect.x0)), whole(std::floor(rect.y0)), whole(std::ceil(rect.x1)),
            whole(std::ceil(rect.y1))};
}

std::vector<Region::Span> dark_spans(const unsigned char* row, LONG left, LONG width) {
    constexpr unsigned char kHalf = 128;
    std::vector<Region::Span> spans;
    for (LONG x = 0; x < width; ++x) {
        if (row[x] >= kHalf) continue;
        const LONG start = x;
        while (x < width && row[x] < kHalf) ++x;
        spans.push_back({left + start, left + x});
    }
    return spans;
}

// The pen of a stroke in device pixels; a line of no width is one pixel wide at every resolution.
struct Pen {
    LINEATTRS line = {};
    std::vector<FLOAT_LONG> style;
};

Pen make_pen(const fz_stroke_state& state, float scale) {
    Pen pen;
    if (state.linewidth <= 0) {
        pen.line.elWidth.l = 1;
        for (int i = 0; i < state.dash_len; ++i) {
            FLOAT_LONG entry;
            entry.l = std::max(nearest_pixel(state.dash_list[i] * scale), 1);
            pen.style.push_back(entry);
        }
    } else {
        pen.line.fl = LA_GEOMETRIC;
        pen.line.elWidth.e = std::max(std::round(state.linewidth * scale), 1.0f);
        for (int i = 0; i < state.dash_len; ++i) {
            FLOAT_LONG entry;
            entry.e = std::max(std::round(state.dash_list[i] * scale), 1.0f);
            pen.style.push_back(entry);
        }
        pen.line.eMiterLimit = state.miterlimit;
        pen.line.iJoin = state.linejoin == FZ_LINEJOIN_ROUND   ? JOIN_ROUND
                         : state.linejoin == FZ_LINEJOIN_BEVEL ? JOIN_BEVEL
                                                               : JOIN_MITER;
        pen.line.iEndCap = state.start_cap == FZ_LINECAP_ROUND    ? ENDCAP_ROUND
                           : state.start_cap == FZ_LINECAP_SQUARE ? ENDCAP_SQUARE
                                                                  : ENDCAP_BUTT;
    }
    if (pen.style.size() % 2) pen.style.insert(pen.style.end(), pen.style.begin(), pen.style.end());
    if (!pen.style.empty()) {
        pen.line.fl |= LA_STYLED;
        pen.line.cstyle = static_cast<ULONG>(pen.style.size());
        pen.line.pstyle = pen.style.data();
    }
    return pen;
}

}  // namespace

PagePlayer::PagePlayer(fz_context* context, kv::engine::Device& device, Played& played)
    : context_(context),
      device_(device),
      played_(played),
      page_{0, 0, static_cast<LONG>(device.info().ulHorzRes), static_cast<LONG>(device.info().ulVertRes)} {
    clips_.push_back({Region(page_), Clip::everything()});
}

void PagePlayer::push(Region region) {
    Clip clip = region.is_rect() ? Clip::rectangle(region.bounds()) : Clip::region(region.rects());
    clips_.push_back({std::move(region), std::move(clip)});
}

void PagePlayer::pop_clip() {
    if (clips_.size() > 1) clips_.pop_back();
}

void PagePlayer::note(BOOL result) {
    if (result != TRUE) failed_ = true;
}

void PagePlayer::fill(const fz_path* source, bool even_odd, fz_matrix ctm, ULONG colour) {
    if (!is_drawing()) return;
    Path path;
    convert(context_, source, ctm, path);
    if (path.empty()) return;
    Brush brush = Brush::solid(colour);
    note(device_.fill(path, &clips_.back().clip, brush, even_odd ? FP_ALTERNATEMODE : FP_WINDINGMODE));
    ++played_.fills;
}

void PagePlayer::stroke(const fz_path* source, const fz_stroke_state& state, fz_matrix ctm, ULONG colour) {
    if (!is_drawing()) return;
    Path path;
    convert(context_, source, ctm, path);
    if (path.empty()) return;
    if (state.dash_len > 0 && state.dash_phase != 0) count_missing("dash offsets");
    Pen pen = make_pen(state, fz_matrix_expansion(ctm));
    kv::engine::Transform identity({1, 0, 0, 1, 0, 0});
    Brush brush = Brush::solid(colour);
    note(device_.stroke(path, &clips_.back().clip, &identity, brush, pen.line));
    ++played_.strokes;
}

void PagePlayer::push_path_clip(const fz_path* path, bool even_odd, fz_matrix ctm) {
    RECTL rect;
    if (find_rect(context_, path, ctm, rect)) {
        push(clips_.back().region.intersected(Region(rect)));
        return;
    }
    push_drawn_clip(fz_bound_path(context_, path, nullptr, ctm), [&](fz_device* mask) {
        constexpr float kBlack[] = {0};
        fz_fill_path(context_, mask, path, even_odd, ctm, fz_device_gray(context_), kBlack, 1, fz_default_color_params);
    });
}

void PagePlayer::push_drawn_clip(fz_rect bounds, const Draw& draw) {
    const Region& current = clips_.back().region;
    const RECTL area = common(covering(bounds), current.bounds());
    if (hidden_ > 0 || area.left >= area.right || area.top >= area.bottom) {
        push(hidden_ > 0 ? current : Region());
        return;
    }
    fz_pixmap* mask = nullptr;
    fz_device* device = nullptr;
    fz_var(mask);
    fz_var(device);
    fz_try(context_) {
        mask = fz_new_pixmap_with_bbox(context_, fz_device_gray(context_),
                                       fz_make_irect(area.left, area.top, area.right, area.bottom), nullptr, 0);
        fz_clear_pixmap_with_value(context_, mask, 255);
        device = fz_new_draw_device(context_, fz_identity, mask);
        draw(device);
        fz_close_device(context_, device);
    }
    fz_always(context_) { fz_drop_device(context_, device); }
    fz_catch(context_) {
        fz_drop_pixmap(context_, mask);
        fz_rethrow(context_);
    }
    const unsigned char* samples = fz_pixmap_samples(context_, mask);
    const ptrdiff_t stride = fz_pixmap_stride(context_, mask);
    Region drawn = Region::from_rows(
        area, [&](LONG y) { return dark_spans(samples + (y - area.top) * stride, area.left, area.right - area.left); });
    fz_drop_pixmap(context_, mask);
    push(current.intersected(drawn));
}

}  // namespace kvprint
