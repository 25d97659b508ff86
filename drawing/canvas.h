#pragma once
// What a page is drawn on. Coordinates are device pixels from the printable area's corner, unless said otherwise.

#include <cairo.h>

#include <memory>
#include <span>
#include <variant>
#include <vector>

#include "drawing/pixel_source.h"
#include "reader/bodies.h"

namespace kvjob {

struct Box {
    double left, top, right, bottom;
};

// Something with an outline. The context's user space is the job's device pixels.
class Shape {
public:
    virtual ~Shape() = default;
    // Covers the shape with the context's source, whose operator is source over. Leaves path and state as they were.
    virtual void paint(cairo_t* context) const = 0;
    // Bounds of what it covers, in user space.
    virtual Box extents(cairo_t* context) const = 0;
};

// What brushes lay down.
struct Tint {
    enum class Kind { Nothing, Colour, Tile };
    Kind kind = Kind::Nothing;
    uint32_t colour = 0;              // 0x00RRGGBB
    cairo_surface_t* tile = nullptr;  // repeated from the origin, a pixel a device pixel; not owned

    static Tint of(uint32_t rgb) { return {Kind::Colour, rgb, nullptr}; }
    // A colour as records hold it: red in the low byte.
    static Tint of_bgr(uint32_t bgr) { return of((bgr & 0xFF) << 16 | (bgr & 0xFF00) | (bgr >> 16 & 0xFF)); }
};

using Path = std::vector<PathEntry>;
using Clip = std::variant<std::monostate, std::vector<Rect>, Path>;

class Canvas {
public:
    virtual ~Canvas() = default;
    // What follows comes of another record.
    virtual void begin_record() {}
    virtual void set_clip(const Clip& clip) = 0;
    // A ternary operation of the tint and the page.
    virtual void draw(const Shape& shape, uint8_t rop, const Tint& tint) = 0;
    // A ternary operation of the tint, the pixels and the page; the target may be turned over. Throws BodyFault where
    // the pixels are damaged.
    virtual void draw_image(PixelSource& pixels, const Rect& target, uint8_t rop, const Tint& tint) = 0;
    // Output units of a device pixel.
    virtual double scale() const = 0;
    // The smallest visible width of a line, in device pixels.
    virtual double hairline() const = 0;
    // How far a letter may stand from its place so that it follows the one before it, in device pixels.
    virtual double letter_slack() const { return 0; }
    // How far a letter leads in the file, in ems, where its font says so much.
    virtual double written_advance(double advance) const { return advance; }
};

}  // namespace kvjob
