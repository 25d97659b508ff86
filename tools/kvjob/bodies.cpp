#include "tools/kvjob/bodies.h"

#include <algorithm>

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

void append_utf8(std::string& text, uint32_t code) {
    auto tail = [&](int shift) { text += static_cast<char>(0x80 | (code >> shift & 0x3F)); };
    if (code < 0x80) {
        text += static_cast<char>(code);
    } else if (code < 0x800) {
        text += static_cast<char>(0xC0 | code >> 6);
        tail(0);
    } else if (code < 0x10000) {
        text += static_cast<char>(0xE0 | code >> 12);
        tail(6), tail(0);
    } else {
        text += static_cast<char>(0xF0 | code >> 18);
        tail(12), tail(6), tail(0);
    }
}

// Reads up to a terminating 0. A surrogate without its half becomes the replacement character.
std::string read_terminated(Reader& in) {
    std::string text;
    uint32_t high = 0;
    for (uint16_t unit = in.u16(); unit != 0; unit = in.u16()) {
        const bool is_low = unit >= 0xDC00 && unit < 0xE000;
        if (high && is_low) {
            append_utf8(text, 0x10000 + ((high - 0xD800) << 10) + (unit - 0xDC00u));
            high = 0;
            continue;
        }
        if (high) append_utf8(text, 0xFFFD);
        high = unit >= 0xD800 && unit < 0xDC00 ? unit : 0;
        if (!high) append_utf8(text, is_low ? 0xFFFD : unit);
    }
    if (high) append_utf8(text, 0xFFFD);
    return text;
}

Rect normalised(const Rect& rect) {
    if (rect != kEmptyRect && (rect.left > rect.right || rect.top > rect.bottom)) bad("rectangle is not normalised");
    return rect;
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

PathSummary read_path(Bytes body, bool wide, const std::function<void(const PathEntry&)>& visit) {
    constexpr uint8_t kBegin = 0x01, kKnownFlags = 0x1F;
    Reader in(body);
    PathSummary summary;
    expect_range("path flags", summary.flags = in.u8(), 0, 3);
    summary.entries = read_count(in);
    if (summary.entries == 0) bad("path without entries");
    PathEntry entry;
    for (uint32_t i = 0; i < summary.entries; ++i) {
        entry.flags = in.u8();
        if (entry.flags & ~kKnownFlags) bad("unknown flags of an entry");
        if (i == 0 && !(entry.flags & kBegin)) bad("path does not begin with a figure");
        const uint32_t count = read_count(in);
        if (uint64_t{count} * (wide ? 8 : 4) > in.left()) bad("body ends too early");
        entry.points.clear();
        for (uint32_t p = 0; p < count; ++p) {
            const int32_t x = in.coordinate(wide), y = in.coordinate(wide);
            summary.box = {std::min(summary.box.left, x), std::min(summary.box.top, y), std::max(summary.box.right, x),
                           std::max(summary.box.bottom, y)};
            if (visit) entry.points.push_back({x, y});
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

Image read_bitmap(Bytes body, bool wide) {
    Reader in(body);
    Image image;
    image.rop = in.u8();
    image.source = in.rect(wide);
    image.target = in.rect(wide);
    image.pixels = in.take(in.left());
    return image;
}

Image read_alpha_blend(Bytes body, bool wide) {
    Reader in(body);
    Image image;
    image.blend = in.u32();
    image.source = in.rect(wide);
    image.target = in.rect(wide);
    image.pixels = in.take(in.left());
    return image;
}

Image read_transparent(Bytes body, bool wide) {
    Reader in(body);
    Image image;
    for (uint8_t& byte : image.colour) byte = in.u8();
    image.source = in.rect(wide);
    image.target = in.rect(wide);
    image.pixels = in.take(in.left());
    return image;
}

Image read_masked(Bytes body, bool wide) {
    Reader in(body);
    Image image;
    if (in.u16() != 0) bad("reserved field is not 0");
    image.source = in.rect(wide);
    for (auto& corner : image.corners) {
        corner[0] = in.coordinate(wide);
        corner[1] = in.coordinate(wide);
    }
    image.target = {image.corners[0][0], image.corners[0][1], image.corners[2][0], image.corners[2][1]};
    image.image_size = in.u32();
    image.mask_size = in.u32();
    image.pixels = in.take(in.left());
    if (uint64_t{image.image_size} + image.mask_size != image.pixels.size()) bad("bitmap sizes do not fill the body");
    return image;
}

PageStart read_page_start_data(Bytes body) {
    constexpr uint8_t kTray = 0x80;
    Reader in(body);
    if (in.u8() != kTray) bad("page start data of an unknown form");
    PageStart start = {in.u16()};
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
        if (value.empty()) break;
        pairs.emplace_back(std::move(name), std::move(value));
    }
    in.expect_end();
    if (pairs.empty()) bad("attached data without a pair");
    return pairs;
}

}  // namespace kvjob
