#include "reader/bodies.h"

#include <algorithm>

#include "reader/records.h"
#include "reader/utf.h"

namespace kvjob {
namespace {

[[noreturn]] void bad(const std::string& what) { throw BodyFault(what); }

void expect_range(const char* what, uint32_t value, uint32_t low, uint32_t high) {
    if (value < low || value > high) bad(std::string(what) + " is " + std::to_string(value));
}

// Counts below 254 in a byte, others behind 0xFE in 16 bits.
uint32_t read_count(Reader& in) {
    const uint8_t first = in.u8();
    if (first < 254) return first;
    if (first != 254) bad("count of an unknown form");
    const uint16_t count = in.u16();
    if (count < 254) bad("count in the long form that fits the short one");
    return count;
}

std::string read_terminated(Reader& in) {
    std::vector<uint16_t> units;
    for (uint16_t unit = in.u16(); unit != 0; unit = in.u16()) units.push_back(unit);
    return utf8_of(units.begin(), units.end());
}

Rect normalised(const Rect& rect) {
    if (rect != kEmptyRect && (rect.left > rect.right || rect.top > rect.bottom)) bad("rectangle is not normalised");
    return rect;
}

void add_point(Rect& box, int32_t x, int32_t y) {
    box = {std::min(box.left, x), std::min(box.top, y), std::max(box.right, x), std::max(box.bottom, y)};
}

void read_line_fields(Reader& in, DrawState& state) {
    if (state.changed & kEndCap) expect_range("end cap", state.end_cap = in.u8(), 0, 2);
    if (state.changed & kJoin) expect_range("join", state.join = in.u8(), 0, 2);
    if (state.changed & kMiter) state.miter = in.f32();
    if (state.changed & kWideWidth) expect_range("wide line width", state.width = in.u16(), 256, 0xFFFF);
    if (state.changed & kStrokeBrush) state.stroke_brush = in.u32();
    if (state.changed & kStrokeRop) expect_range("stroke operation", state.stroke_rop = in.u8(), 1, 16);
    if (state.changed & kNarrowWidth) expect_range("narrow line width", state.width = in.u8(), 1, 255);
    if (state.changed & kStyleMask) state.style_mask = in.u8();
}

// The target of a masked image: its four corners, clockwise from the left and top one; then the two sizes.
void read_masked_target(Reader& in, bool wide, Image& image) {
    std::array<std::array<int32_t, 2>, 4> corners;
    for (auto& corner : corners) {
        corner[0] = in.coordinate(wide);
        corner[1] = in.coordinate(wide);
    }
    image.target = {corners[0][0], corners[0][1], corners[2][0], corners[2][1]};
    const Rect& r = image.target;
    const bool upright =
        corners[1][0] == r.right && corners[1][1] == r.top && corners[3][0] == r.left && corners[3][1] == r.bottom;
    if (!upright) bad("corners are not those of a rectangle");
    image.image_size = in.u32();
    image.mask_size = in.u32();
}

}  // namespace

bool reads_destination(uint8_t rop3) { return (((rop3 >> 1) ^ rop3) & 0x55) != 0; }

uint8_t ternary_of(uint8_t rop2) {
    // A binary operation has two pattern and two destination states; each is repeated for the source.
    const int truth = (rop2 - 1) & 0x0F;  // bit 0: neither, 1: destination only, 2: pattern only, 3: both
    auto bit = [&](int pattern, int destination) { return truth >> (pattern * 2 + destination) & 1; };
    int rop3 = 0;
    for (int i = 0; i < 8; ++i) rop3 |= bit(i >> 2 & 1, i & 1) << i;
    return static_cast<uint8_t>(rop3);
}

DrawState read_draw_state(Bytes body) {
    constexpr uint16_t kKnown = 0xFCFE;
    Reader in(body);
    DrawState state;
    state.changed = in.u16();
    if (state.changed == 0) bad("nothing changes");
    if (state.changed & ~kKnown) bad("unknown change bits");
    if ((state.changed & kWideWidth) && (state.changed & kNarrowWidth)) bad("two line widths");
    read_line_fields(in, state);
    if (state.changed & kFillBrush) state.fill_brush = in.u32();
    if (state.changed & kFillRop) expect_range("fill operation", state.fill_rop = in.u8(), 1, 16);
    if (state.changed & kFillMode) expect_range("fill mode", state.fill_mode = in.u8(), 1, 2);
    if (state.changed & kGeometric) expect_range("geometric", state.geometric = in.u8(), 0, 1);
    if (state.changed & kDashes) {
        state.dashes.resize(in.u8());
        for (uint16_t& dash : state.dashes) dash = in.u16();
    }
    in.expect_end();
    return state;
}

void apply(DrawState& state, const DrawState& change) {
    constexpr uint16_t kWidths = kWideWidth | kNarrowWidth;
    const uint16_t changed = change.changed;
    if (changed & kEndCap) state.end_cap = change.end_cap;
    if (changed & kJoin) state.join = change.join;
    if (changed & kMiter) state.miter = change.miter;
    if (changed & kStrokeBrush) state.stroke_brush = change.stroke_brush;
    if (changed & kStrokeRop) state.stroke_rop = change.stroke_rop;
    if (changed & kStyleMask) state.style_mask = change.style_mask;
    if (changed & kFillBrush) state.fill_brush = change.fill_brush;
    if (changed & kFillRop) state.fill_rop = change.fill_rop;
    if (changed & kFillMode) state.fill_mode = change.fill_mode;
    if (changed & kGeometric) state.geometric = change.geometric;
    if (changed & kDashes) state.dashes = change.dashes;
    if (changed & kWidths) {
        state.width = change.width;
        state.changed = static_cast<uint16_t>(state.changed & ~kWidths);
    }
    state.changed = static_cast<uint16_t>(state.changed | changed);
}

uint16_t repeated_fields(const DrawState& state, const DrawState& change) {
    constexpr uint16_t kWidths = kWideWidth | kNarrowWidth;
    uint16_t repeated = 0;
    auto compare = [&](uint16_t bit, bool equal) {
        if (equal) repeated = static_cast<uint16_t>(repeated | (change.changed & state.changed & bit));
    };
    compare(kEndCap, state.end_cap == change.end_cap);
    compare(kJoin, state.join == change.join);
    compare(kMiter, state.miter == change.miter);
    compare(kStrokeBrush, state.stroke_brush == change.stroke_brush);
    compare(kStrokeRop, state.stroke_rop == change.stroke_rop);
    compare(kStyleMask, state.style_mask == change.style_mask);
    compare(kFillBrush, state.fill_brush == change.fill_brush);
    compare(kFillRop, state.fill_rop == change.fill_rop);
    compare(kFillMode, state.fill_mode == change.fill_mode);
    compare(kGeometric, state.geometric == change.geometric);
    compare(kDashes, state.dashes == change.dashes);
    if ((state.changed & kWidths) && state.width == change.width) {
        repeated = static_cast<uint16_t>(repeated | (change.changed & kWidths));
    }
    return repeated;
}

Rect PathSummary::widened_box() const {
    if (points == 0) return {};
    auto next = [](int32_t value) { return value == INT32_MAX ? value : value + 1; };
    return {box.left, box.top, next(box.right), next(box.bottom)};
}

PathSummary read_path(Bytes body, bool wide, const std::function<void(const PathEntry&)>& visit) {
    constexpr uint8_t kKnownFlags = 0x1F;
    Reader in(body);
    PathSummary summary;
    expect_range("path flags", summary.flags = in.u8(), 0, 3);
    summary.entries = read_count(in);
    if (summary.entries == 0) bad("path without entries");
    PathEntry entry;
    for (uint32_t i = 0; i < summary.entries; ++i) {
        entry.flags = in.u8();
        if (entry.flags & ~kKnownFlags) bad("unknown flags of an entry");
        if (i == 0 && !(entry.flags & kBeginFigure)) bad("path does not begin with a figure");
        const uint32_t count = read_count(in);
        if (uint64_t{count} * (wide ? 8 : 4) > in.left()) bad("body ends too early");
        entry.points.resize(count);
        const uint32_t first_on_curve = (entry.flags & kBeginFigure) ? 0 : 2;
        for (uint32_t p = 0; p < count; ++p) {
            const int32_t x = in.coordinate(wide), y = in.coordinate(wide);
            entry.points[p] = {x, y};
            add_point(summary.box, x, y);
            const bool control = (entry.flags & kCurves) && (p % 3) != first_on_curve;
            if (!control) add_point(summary.on_curve, x, y);
        }
        summary.points += count;
        summary.largest_entry = std::max(summary.largest_entry, count);
        if (visit) visit(entry);
    }
    in.expect_end();
    return summary;
}

Brush read_brush(Bytes body) {
    Reader in(body);
    Brush brush = {};
    brush.id = in.u32();
    brush.kind = in.u32();
    brush.colour = in.u32();
    brush.hatch = in.u32();
    brush.background = in.u32();
    if (brush.kind != 2 && brush.kind != 5) bad("brush of kind " + std::to_string(brush.kind));
    if (brush.kind == 2) {
        expect_range("hatch", brush.hatch, 0, 5);
        expect_range("hatch colour", brush.colour, 0, 0xFFFFFF);
        expect_range("hatch background", brush.background, 0, 0xFFFFFF);
        in.expect_end();
    }
    brush.bitmap = in.take(in.left());
    if (brush.kind == 5 && brush.bitmap.size() < 40) bad("pattern without a bitmap header");
    return brush;
}

std::vector<Rect> read_clip_rects(Bytes body, bool wide) {
    Reader in(body);
    if (body.empty()) bad("clip without rectangles");
    std::vector<Rect> rects;
    while (in.left() > 0) rects.push_back(normalised(in.rect(wide)));
    return rects;
}

RectFill read_rect_fill(Bytes body, bool wide) {
    Reader in(body);
    RectFill fill;
    fill.rop = in.u8();
    fill.rect = normalised(in.rect(wide));
    in.expect_end();
    return fill;
}

Image read_image(uint8_t type, Bytes body) {
    const TypeInfo& info = type_info(type);
    Reader in(body);
    Image image;
    if (info.body == Body::Bitmap) image.rop = in.u8();
    if (info.body == Body::AlphaBlend) image.blend = in.u32();
    if (info.body == Body::Transparent) {
        for (uint8_t& byte : image.colour) byte = in.u8();
        expect_range("flags", image.colour[3], 0, 1);
    }
    if (info.body == Body::Masked && in.u16() != 0) bad("reserved field is not 0");
    image.source = in.rect(info.wide);
    if (info.body == Body::Masked) {
        read_masked_target(in, info.wide, image);
    } else {
        image.target = in.rect(info.wide);
    }
    image.pixels = in.take(in.left());
    if (info.body == Body::Masked && uint64_t{image.image_size} + image.mask_size != image.pixels.size()) {
        bad("bitmap sizes do not fill the body");
    }
    return image;
}

PageStart read_page_start_data(Bytes body) {
    constexpr uint8_t kTray = 0x80;
    Reader in(body);
    constexpr uint16_t kFirstTray = 300;
    if (in.u8() != kTray) bad("page start data of an unknown form");
    PageStart start = {in.u16()};
    if (*start.tray < kFirstTray) bad("tray " + std::to_string(*start.tray));
    in.expect_end();
    return start;
}

std::string read_string(Bytes body) {
    Reader in(body);
    std::string text = read_terminated(in);
    in.expect_end();
    return text;
}

Tray read_tray(Bytes body) {
    Reader in(body);
    if (in.u32() != 0) bad("reserved field is not 0");
    const uint16_t number = in.u16();
    return {number, read_string(in.take(in.left()))};
}

std::vector<std::pair<std::string, std::string>> read_attached(Bytes body) {
    Reader in(body);
    std::vector<std::pair<std::string, std::string>> pairs;
    for (;;) {
        std::string name = read_terminated(in);
        if (name.empty()) break;
        std::string value = read_terminated(in);
        const bool last = value.empty();
        pairs.emplace_back(std::move(name), std::move(value));
        if (last) break;
    }
    in.expect_end();
    if (pairs.empty()) bad("attached data without a pair");
    return pairs;
}

}  // namespace kvjob
