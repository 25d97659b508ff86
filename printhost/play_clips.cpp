// Clips of every kind as regions.

#include "printhost/page_player.h"

namespace kvprint {
namespace {

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

}  // namespace

bool PagePlayer::push(Region region) {
    if (region.rect_count() <= kFinestRegion) {
        canvas_.push(std::move(region));
        return true;
    }
    count_otherwise("clips too fine for outlines as images");
    begin_capture(Capture::Kind::Layer, region.bounds());
    return false;
}

bool PagePlayer::clip_to_path(const fz_path* path, FillRule rule, fz_matrix ctm) {
    const Region& current = canvas_.clip();
    fz_rect rect;
    if (find_rect(context_, path, ctm, rect)) return push(current.intersected(Region(nearest_pixels(rect))));
    const fz_rect bounds = fz_bound_path(context_, path, nullptr, ctm);
    Region inside = scan(flatten(context_, path, ctm), rule, common(covering(bounds), current.bounds()));
    const bool thin = bounds.x1 - bounds.x0 < 1 || bounds.y1 - bounds.y0 < 1;
    if (inside.empty() && thin && bounds.x0 <= bounds.x1) inside = Region(nearest_pixels(bounds));
    return push(current.intersected(inside));
}

bool PagePlayer::clip_to_text(const fz_text* text, fz_matrix ctm) {
    count_otherwise("texts as clips");
    std::vector<Figure> figures;
    for (const fz_text_span* span = text->head; span; span = span->next) {
        if (span->font->t3procs) {
            return clip_to_drawing(fz_bound_text(context_, text, nullptr, ctm), [&](fz_device* device) {
                constexpr float kBlack[] = {0};
                fz_fill_text(context_, device, text, ctm, fz_device_gray(context_), kBlack, 1, fz_default_color_params);
            });
        }
        for (Figure& figure : outlines_of(*span, ctm)) figures.push_back(std::move(figure));
    }
    const Region& current = canvas_.clip();
    return push(current.intersected(scan(figures, FillRule::Winding, current.bounds())));
}

bool PagePlayer::clip_to_drawing(fz_rect bounds, const Draw& draw) {
    const Region& current = canvas_.clip();
    return push(current.intersected(region_of(common(covering(bounds), current.bounds()), draw)));
}

void PagePlayer::hold_mask(fz_image* mask, fz_matrix ctm) {
    held_mask_ = {{context_, fz_keep_image(context_, mask)}, ctm};
    canvas_.push_same();
}

bool PagePlayer::settle_mask() {
    settled_mask_ = std::exchange(held_mask_, std::nullopt);
    const HeldMask& mask = *settled_mask_;
    canvas_.pop();
    const fz_rect bounds = fz_transform_rect(fz_unit_rect, mask.ctm);
    if (mask.image.get()->imagemask) {
        return !clip_to_drawing(bounds, [&](fz_device* device) {
            constexpr float kBlack[] = {0};
            fz_fill_image_mask(context_, device, mask.image.get(), mask.ctm, fz_device_gray(context_), kBlack, 1,
                               fz_default_color_params);
        });
    }
    count_otherwise("drawings under soft masks as images");
    begin_capture(Capture::Kind::Layer, covering(bounds));
    return true;
}

void PagePlayer::clip_to_held_mask(fz_device* device) const {
    const HeldMask& mask = *settled_mask_;
    fz_clip_image_mask(context_, device, mask.image.get(), mask.ctm, fz_infinite_rect);
}

Region PagePlayer::region_of(const RECTL& area, const Draw& draw) {
    constexpr LONG kBandBytes = 1 << 24;
    Region region;
    if (is_empty(area)) return region;
    const LONG width = area.right - area.left, band = std::max<LONG>(kBandBytes / width, 1);
    for (LONG top = area.top; top < area.bottom; top += band) {
        const LONG bottom = std::min(top + band, area.bottom);
        const auto mask = make_held<Pixmap>(context_, [&] {
            return fz_new_pixmap_with_bbox(context_, fz_device_gray(context_),
                                           fz_make_irect(area.left, top, area.right, bottom), nullptr, 0);
        });
        const auto device = make_held<DrawDevice>(context_, [&] {
            fz_clear_pixmap_with_value(context_, mask.get(), 255);
            return fz_new_draw_device(context_, fz_identity, mask.get());
        });
        with_errors(context_, [&] {
            draw(device.get());
            fz_close_device(context_, device.get());
        });
        const unsigned char* samples = fz_pixmap_samples(context_, mask.get());
        const ptrdiff_t stride = fz_pixmap_stride(context_, mask.get());
        for (LONG y = top; y < bottom; ++y) {
            region.append(y, y + 1, dark_spans(samples + (y - top) * stride, area.left, width));
        }
    }
    return region;
}

}  // namespace kvprint
