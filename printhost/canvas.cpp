#include "printhost/canvas.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "engine/region_outline.h"
#include "printhost/geometry.h"

namespace kvprint {

using kv::engine::Bitmap;
using kv::engine::Brush;
using kv::engine::Clip;
using kv::engine::Font;
using kv::engine::Path;
using kv::engine::String;

namespace {

constexpr ULONG kWhite = 0xFFFFFF;
constexpr ROP4 kPatternCopy = 0xF0F0;
// Black lets the pattern through, white leaves what is there.
constexpr ROP4 kPatternWhereBlack = 0xB8B8;

RECTL page_of(const GDIINFO& info) {
    return {0, 0, static_cast<LONG>(info.ulHorzRes), static_cast<LONG>(info.ulVertRes)};
}

RECTL pixels_of(const RECTFX& bounds) {
    // With a line's width of any pen around them left to the caller.
    return {bounds.xLeft >> 4, bounds.yTop >> 4, (bounds.xRight + 15) >> 4, (bounds.yBottom + 15) >> 4};
}

BYTE byte_of(float alpha) { return static_cast<BYTE>(std::lround(std::clamp(alpha, 0.0f, 1.0f) * 255)); }

ULONG over_white(const Paint& paint) {
    ULONG result = 0;
    for (int shift = 0; shift < 24; shift += 8) {
        const auto component = static_cast<float>(paint.colour >> shift & 0xFF);
        result |= static_cast<ULONG>(std::lround(255 + (component - 255) * paint.alpha)) << shift;
    }
    return result;
}

bool contains(const RECTL& outer, const RECTL& inner) {
    return outer.left <= inner.left && outer.top <= inner.top && outer.right >= inner.right &&
           outer.bottom >= inner.bottom;
}

}  // namespace

Canvas::Canvas(kv::engine::Device& device, Played& played)
    : device_(device),
      played_(played),
      cover_(static_cast<LONG>(device.info().ulHorzRes), static_cast<LONG>(device.info().ulVertRes)),
      path_(static_cast<LONG>(device.info().ulHorzRes), static_cast<LONG>(device.info().ulVertRes)),
      texts_(static_cast<LONG>(device.info().ulHorzRes), static_cast<LONG>(device.info().ulVertRes)) {
    clips_.push_back({Region(page_of(device.info())), Clip::everything()});
}

void Canvas::push(Region region) {
    Clip clip = region.is_rect() ? Clip::rectangle(region.bounds()) : Clip::region(region.rects());
    clips_.push_back({std::move(region), std::move(clip)});
}

// The page cuts nothing that is drawn on it.
void Canvas::push_rect(const RECTL& rect) {
    clips_.push_back({Region(rect), contains(rect, page()) ? Clip::everything() : Clip::rectangle(rect)});
}

void Canvas::pop() {
    if (clips_.size() > 1) clips_.pop_back();
}

void Canvas::pop_all() {
    while (clips_.size() > 1) clips_.pop_back();
}

void Canvas::note(BOOL result) {
    if (result != TRUE) failed_ = true;
}

void Canvas::mark(const RECTL& rect) { cover_.mark(common(rect, clip().bounds())); }

bool Canvas::is_blank(const RECTL& rect) const { return cover_.is_blank(common(rect, clip().bounds())); }

bool Canvas::make_opaque(Paint& paint, const RECTL& bounds) const {
    if (paint.alpha < 1 && !is_blank(bounds)) return false;
    paint = {over_white(paint), 1};
    return true;
}

void Canvas::fill(Path& path, FLONG options, ULONG colour) {
    const RECTL bounds = pixels_of(path.bounds());
    if (colour == kWhite && is_blank(bounds)) return;
    draw_path(path, bounds, {false, options, {}, colour, {}});
    ++played_.fills;
}

void Canvas::fill(const RECTL& rect, ULONG colour) {
    if (colour == kWhite && is_blank(rect)) return;
    settle_text(rect, colour);
    flush_path();
    Brush brush = Brush::solid(colour);
    note(device_.bit_blt(nullptr, nullptr, current(), nullptr, rect, nullptr, &brush, kPatternCopy));
    mark(rect);
    ++played_.fills;
}

void Canvas::fill(const Region& region, ULONG colour) {
    // Rectangles of a region in pieces: no outline of a piece is one of more figures than it has rectangles.
    const std::vector<RECTL> rects = region.rects();
    for (size_t first = 0; first < rects.size(); first += kMostPathBlocks) {
        const size_t count = std::min(kMostPathBlocks, rects.size() - first);
        Path path;
        kv::engine::add_outlines(
            {rects.begin() + static_cast<ptrdiff_t>(first), rects.begin() + static_cast<ptrdiff_t>(first + count)},
            path);
        fill(path, FP_WINDINGMODE, colour);
    }
}

void Canvas::blend(const Region& region, Paint paint) {
    Region visible = clip().intersected(region);
    if (visible.empty() || byte_of(paint.alpha) == 0) return;
    const RECTL target = visible.bounds();
    Bitmap pixel(BMF_24BPP, 1, 1);
    pixel.set_pixel(0, 0, paint.colour);
    push(std::move(visible));
    blend({pixel, nullptr, {0, 0, 1, 1}, target}, Alpha::Constant, paint.alpha);
    pop();
}

void Canvas::stroke(Path& path, const LINEATTRS& line, ULONG colour) {
    RECTL bounds = pixels_of(path.bounds());
    const bool geometric = line.fl & LA_GEOMETRIC;
    const float reach = geometric ? line.elWidth.e * std::max(line.eMiterLimit, 1.0f) : 1;
    const LONG around = nearest_pixel(reach) + 1;
    bounds = {bounds.left - around, bounds.top - around, bounds.right + around, bounds.bottom + around};
    draw_path(path, bounds, {true, 0, line, colour, {}});
    ++played_.strokes;
}

void Canvas::draw_path(Path& path, const RECTL& ink, PathStyle style) {
    settle_text(ink, style.colour);
    mark(ink);
    const RECTL inside = clip().bounds();
    style.clip = contains(inside, ink) ? page() : inside;
    const bool held = clip().is_rect() && (path_.add(path, style, ink) || (flush_path(), path_.add(path, style, ink)));
    if (held) return;
    flush_path();
    draw_now(path, style);
}

void Canvas::draw_now(Path& path, const PathStyle& style) {
    Brush brush = Brush::solid(style.colour);
    if (style.stroked) {
        kv::engine::Transform identity({1, 0, 0, 1, 0, 0});
        note(device_.stroke(path, current(), &identity, brush, style.line));
    } else {
        note(device_.fill(path, current(), brush, style.options));
    }
}

void Canvas::flush_path() {
    if (path_.empty()) return;
    push_rect(path_.style().clip);
    draw_now(*path_.take(), path_.style());
    pop();
}

void Canvas::draw_text(const TextRun& run, bool level, const std::shared_ptr<Font>& font, ULONG colour) {
    const RECTL ink = ink_of(run, *font), box = box_of(run, *font);
    mark(box);
    ++played_.texts;
    if (!level || !clip().is_rect() || !contains(clip().bounds(), ink)) {
        settle_text(ink, colour);
        flush_path();
        TextBlock block(font, colour);
        block.append(run, box);
        draw_block(block);
    } else if (!texts_.add(run, font, colour, ink, box)) {
        flush_text();
        texts_.add(run, font, colour, ink, box);
    }
}

void Canvas::settle_text(const RECTL& rect, std::optional<ULONG> colour) {
    if (texts_.is_under(common(rect, clip().bounds()), colour)) flush_text();
}

void Canvas::flush_text() {
    flush_path();
    if (texts_.empty()) return;
    push_rect(page());
    for (const TextBlock& block : texts_.take()) draw_block(block);
    pop();
}

void Canvas::draw_block(const TextBlock& block) {
    Brush brush = Brush::solid(block.colour());
    for (const TextBlock::Part& part : block.parts()) {
        String text = block.string_of(part);
        text.rclBkGround = part.box;
        if (block.is_off_baseline(part)) text.flAccel |= SO_DXDY;
        note(device_.text_out(text, block.font(), current(), brush));
    }
}

void Canvas::note_image(BOOL result, const RECTL& target) {
    note(result);
    mark(target);
    ++played_.images;
}

void Canvas::draw(const Transfer& image) {
    settle_text(image.target);
    flush_path();
    note_image(device_.stretch_blt(image.bitmap, nullptr, current(), image.translation, image.target, image.source),
               image.target);
}

void Canvas::draw_masked(const Transfer& image, Bitmap& mask) {
    settle_text(image.target);
    flush_path();
    note_image(device_.stretch_blt(image.bitmap, &mask, current(), image.translation, image.target, image.source),
               image.target);
}

void Canvas::draw_stencil(const Transfer& image, ULONG colour) {
    settle_text(image.target, colour);
    flush_path();
    Brush brush = Brush::solid(colour);
    note_image(device_.stretch_blt_rop(image.bitmap, nullptr, current(), image.translation, image.target, image.source,
                                       &brush, kPatternWhereBlack),
               image.target);
}

void Canvas::blend(const Transfer& image, Alpha kind, float alpha) {
    settle_text(image.target);
    flush_path();
    const BLENDFUNCTION function = {AC_SRC_OVER, 0, byte_of(alpha),
                                    static_cast<BYTE>(kind == Alpha::PerPixel ? AC_SRC_ALPHA : 0)};
    note_image(device_.alpha_blend(image.bitmap, current(), image.translation, image.target, image.source, function),
               image.target);
}

}  // namespace kvprint
