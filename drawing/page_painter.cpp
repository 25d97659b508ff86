#include "drawing/page_painter.h"

#include "drawing/raster_ops.h"
#include "drawing/shapes.h"
#include "reader/inflate.h"

namespace kvjob {
namespace {

constexpr uint8_t kCopyPen = 13, kWinding = 2, kAlternate = 1;
constexpr uint8_t kSourceCopy = 0xCC, kInverseSource = 0x33;

// What the reader of a job takes for fields that no record has set yet on the page.
DrawState default_state() {
    DrawState state;
    state.miter = 10;
    state.width = 1;
    state.stroke_brush = 0x80000004;
    state.fill_brush = 0x80000000;
    state.stroke_rop = state.fill_rop = kCopyPen;
    state.fill_mode = kWinding;
    return state;
}

// Drawing a point takes some two hundred bytes, of edges in the end.
Path path_of(Bytes body, bool wide, uint64_t memory) {
    constexpr uint64_t kBytesPerPoint = 200;
    Path path;
    uint64_t points = 0;
    read_path(body, wide, [&](const PathEntry& entry) {
        points += entry.points.size() + 1;
        if (points > memory / kBytesPerPoint) throw BodyFault("has more points than the memory allowed holds");
        path.push_back(entry);
    });
    return path;
}

// Binary operations that put down a brush, or one colour, or nothing.
bool is_plain(uint8_t rop2) { return rop2 == 1 || rop2 == 11 || rop2 == kCopyPen || rop2 == 16; }

bool state_reads_pixels(Bytes body) {
    const DrawState state = read_draw_state(body);
    return ((state.changed & kStrokeRop) && !is_plain(state.stroke_rop)) ||
           ((state.changed & kFillRop) && !is_plain(state.fill_rop));
}

bool image_reads_pixels(uint8_t rop) { return rop != kSourceCopy && rop != kInverseSource; }

bool fill_reads_pixels(uint8_t rop) { return rop != 0x00 && rop != 0xFF && rop != 0xF0; }

}  // namespace

bool PagePainter::reads_pixels(const JobMap& map, size_t page) {
    bool found = false;
    std::vector<uint8_t> buffer;
    map.for_each_record(page, [&](const Record& record) {
        const Body body = type_info(record.type).body;
        if (found || (body != Body::Bitmap && body != Body::DrawState && body != Body::RectFill)) return;
        try {
            if (body == Body::DrawState) {
                found = state_reads_pixels(map.body(record, buffer));
                return;
            }
            if (record.compressed()) buffer = inflate_start(record.payload, 1);
            const uint8_t rop = Reader(record.compressed() ? Bytes(buffer) : record.payload).u8();
            found = body == Body::Bitmap ? image_reads_pixels(rop) : fill_reads_pixels(rop);
        } catch (const BodyFault&) {  // is not drawn either
        }
    });
    return found;
}

void PagePainter::paint(size_t page, Canvas& canvas) {
    state_ = default_state();
    text_ = {};
    canvas.set_clip({});
    map_.for_each_record(page, [&](const Record& record) {
        const TypeInfo& info = type_info(record.type);
        canvas.begin_record();
        try {
            play(record, canvas);
        } catch (const BodyFault& fault) {
            reports_.add(record.offset, info.name, fault.what());
        }
    });
}

void PagePainter::play(const Record& record, Canvas& canvas) {
    const TypeInfo& info = type_info(record.type);
    switch (info.body) {
        case Body::ClipReset:
            return canvas.set_clip({});
        case Body::ClipRects:
        case Body::ClipPath:
            return set_clip(info, map_.body(record, buffer_), canvas);
        case Body::DrawState:
            return apply(state_, read_draw_state(map_.body(record, buffer_)));
        case Body::TextState:
            return apply(text_, read_text_state(map_.body(record, buffer_)));
        case Body::Path:
            return draw_path(record.type, map_.body(record, buffer_), info.wide, canvas);
        case Body::RectFill:
            return draw_rect(read_rect_fill(map_.body(record, buffer_), info.wide), canvas);
        case Body::Text:
            return texts_.draw(read_text(map_.body(record, buffer_), info.wide), text_, canvas);
        case Body::Bitmap:
        case Body::AlphaBlend:
        case Body::Transparent:
        case Body::Masked:
            return draw_image(record, map_.body(record, buffer_), canvas);
        case Body::Brush:
        case Body::Font:
        case Body::FontFile:
            return;  // found by those that use them
        default:
            throw BodyFault("no drawing, of type " + std::to_string(record.type));
    }
}

void PagePainter::set_clip(const TypeInfo& info, Bytes body, Canvas& canvas) const {
    if (info.body == Body::ClipRects) return canvas.set_clip(read_clip_rects(body, info.wide));
    canvas.set_clip(path_of(body, info.wide, map_.memory()));
}

Tint PagePainter::fill_tint(uint8_t rop) { return rop_reads_pattern(rop) ? brushes_.tint(state_.fill_brush) : Tint(); }

void PagePainter::draw_path(uint8_t type, Bytes body, bool wide, Canvas& canvas) {
    const int kind = (type - 34) % 13;  // stroke, fill, both
    const Path path = path_of(body, wide, map_.memory());
    if (kind != 0) {
        const uint8_t rop = ternary_of(state_.fill_rop);
        canvas.draw(FillShape(path, state_.fill_mode == kAlternate), rop, fill_tint(rop));
    }
    if (kind != 1) {
        const uint8_t rop = ternary_of(state_.stroke_rop);
        const Tint tint = rop_reads_pattern(rop) ? brushes_.tint(state_.stroke_brush) : Tint();
        canvas.draw(StrokeShape(path, state_, canvas.hairline()), rop, tint);
    }
}

void PagePainter::draw_rect(const RectFill& fill, Canvas& canvas) {
    if (rop_reads_source(fill.rop)) throw BodyFault("an operation that needs a source");
    canvas.draw(RectShape(fill.rect), fill.rop, fill_tint(fill.rop));
}

void PagePainter::draw_image(const Record& record, Bytes body, Canvas& canvas) {
    const Image image = read_image(record.type, body);
    PixelSource pixels(record, image);
    uint8_t rop = type_info(record.type).body == Body::Bitmap ? image.rop : kSourceCopy;
    if (rop == kInverseSource) {
        pixels.invert_colours();
        rop = kSourceCopy;
    }
    canvas.draw_image(pixels, pixels.target(), rop, fill_tint(rop));
}

}  // namespace kvjob
