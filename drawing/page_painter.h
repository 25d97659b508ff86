#pragma once
// Plays a page's records on a canvas.

#include "drawing/brush_table.h"
#include "drawing/text_painter.h"
#include "reader/reports.h"

namespace kvjob {

class PagePainter {
public:
    PagePainter(const JobMap& map, BrushTable& brushes, TextPainter& texts, Reports& reports)
        : map_(map), brushes_(brushes), texts_(texts), reports_(reports) {}

    // Pages count from 0. What cannot be drawn is reported and left out. Throws Fault where the framing ends.
    void paint(size_t page, Canvas& canvas);

    // Whether the page has operations beyond putting down a brush or a picture.
    static bool reads_pixels(const JobMap& map, size_t page);

private:
    void play(const Record& record, Canvas& canvas);
    void set_clip(const TypeInfo& info, Bytes body, Canvas& canvas) const;
    void draw_path(uint8_t type, Bytes body, bool wide, Canvas& canvas);
    void draw_rect(const RectFill& fill, Canvas& canvas);
    void draw_image(const Record& record, Bytes body, Canvas& canvas);
    Tint fill_tint(uint8_t rop);

    const JobMap& map_;
    BrushTable& brushes_;
    TextPainter& texts_;
    Reports& reports_;
    std::vector<uint8_t> buffer_;
    DrawState state_;
    TextState text_;
};

}  // namespace kvjob
