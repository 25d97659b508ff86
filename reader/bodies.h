#pragma once
// Record bodies decoded. Every function throws BodyFault for a body that is not as the format says.

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "reader/bytes.h"

namespace kvjob {

// Change bits of a drawing state, in the order of the fields.
enum StateBit : uint16_t {
    kEndCap = 0x8000,
    kJoin = 0x4000,
    kMiter = 0x2000,
    kWideWidth = 0x1000,
    kStrokeBrush = 0x80,
    kStrokeRop = 0x40,
    kNarrowWidth = 0x20,
    kStyleMask = 0x10,
    kFillBrush = 0x08,
    kFillRop = 0x04,
    kFillMode = 0x02,
    kGeometric = 0x800,
    kDashes = 0x400,
};

struct DrawState {
    uint16_t changed = 0;
    uint8_t end_cap = 0, join = 0;
    float miter = 0;
    uint16_t width = 0;
    uint32_t stroke_brush = 0, fill_brush = 0;
    uint8_t stroke_rop = 0, fill_rop = 0, style_mask = 0, fill_mode = 0, geometric = 0;
    std::vector<uint16_t> dashes;
};
DrawState read_draw_state(Bytes body);
// Takes over the fields that a record changes; `state.changed` gathers those that are known.
void apply(DrawState& state, const DrawState& change);
// The changed fields that the state already holds with the same value.
uint16_t repeated_fields(const DrawState& state, const DrawState& change);

// Flags of a path's entries.
enum EntryFlag : uint8_t { kBeginFigure = 0x01, kEndFigure = 0x02, kCloseFigure = 0x08, kCurves = 0x10 };

struct PathEntry {
    uint8_t flags;  // of EntryFlag and 0x04, which restarts the line style
    std::vector<std::array<int32_t, 2>> points;
};
struct PathSummary {
    uint8_t flags = 0;
    uint32_t entries = 0;
    uint64_t points = 0;
    uint32_t largest_entry = 0;
    Rect box = kEmptyRect;       // of the points, all inclusive
    Rect on_curve = kEmptyRect;  // without the control points of curves

    // The box with room for what a flat figure's bounds get in addition.
    Rect widened_box() const;
};
// Calls visit for every entry, when given.
PathSummary read_path(Bytes body, bool wide, const std::function<void(const PathEntry&)>& visit = {});

struct Brush {
    uint32_t id, kind, colour, hatch, background;
    Bytes bitmap;  // kind 5
};
Brush read_brush(Bytes body);

std::vector<Rect> read_clip_rects(Bytes body, bool wide);

struct RectFill {
    uint8_t rop;
    Rect rect;
};
RectFill read_rect_fill(Bytes body, bool wide);

// The head of a record that carries pixels, and what follows it.
struct Image {
    uint8_t rop = 0;                     // bitmaps
    uint32_t blend = 0;                  // alpha blends
    std::array<uint8_t, 4> colour = {};  // transparent blits: red, green, blue, flags
    Rect source = {}, target = {};
    uint32_t image_size = 0, mask_size = 0;  // masked images
    Bytes pixels;
};
// Of a record of one of the types that carry pixels.
Image read_image(uint8_t type, Bytes body);

struct PageStart {
    std::optional<uint16_t> tray;
};
PageStart read_page_start_data(Bytes body);

// UTF-16 with its terminating 0, as UTF-8.
std::string read_string(Bytes body);

struct Tray {
    uint16_t number;
    std::string name;
};
Tray read_tray(Bytes body);

std::vector<std::pair<std::string, std::string>> read_attached(Bytes body);

bool reads_destination(uint8_t rop3);
uint8_t ternary_of(uint8_t rop2);

}  // namespace kvjob
