#pragma once
// Pages as rows of pixels, drawn in bands so that memory does not grow with the resolution.

#include <functional>

#include "drawing/page_painter.h"
#include "drawing/raster_canvas.h"
#include "drawing/vector_canvas.h"
#include "reader/index.h"

namespace kvjob {

// What draws a job's pages; each thread has its own.
class JobPainter {
public:
    JobPainter(const JobMap& map, int resolution, BrushTable::Drawing drawing, Reports& reports)
        : map_(map),
          fonts_(map),
          texts_(fonts_,
                 drawing == BrushTable::Drawing::Lines ? TextPainter::Fonts::Kept : TextPainter::Fonts::Dropped),
          brushes_(map, resolution, drawing),
          painter_(map, brushes_, texts_, reports) {}

    void paint(size_t page, Canvas& canvas) {
        painter_.paint(page, canvas);
        brushes_.end_page();
        texts_.end_page();
    }
    // Another canvas while a page is under way: gets what was drawn before a moment of it. Reports nothing.
    void paint_until(size_t page, Canvas& canvas, const Moment& until);
    // Letters of these pages, which count from 0, may be drawn as wide as they stand.
    void fit_fonts(std::span<const size_t> pages) { texts_.set_fits(kvjob::fit_fonts(map_, fonts_, pages)); }

private:
    const JobMap& map_;
    FontStore fonts_;
    TextPainter texts_;
    BrushTable brushes_;
    PagePainter painter_;
};

inline constexpr uint64_t kBytesPerPixel = 16;  // 4 of the page, 12 at most of layers

// Where a page lies at so many output units a device pixel. Throws std::runtime_error for a page without area.
Placement place_page(const IndexedPage& page, double scale);

// Calls sink for every row from the top, 0x??RRGGBB pixels. The page is played once for each band. Throws
// std::runtime_error for a page that is wider than cairo's images, higher than four of them, larger than 2^31 pixels,
// or of which the memory does not hold 16 rows.
using PixelRow = std::span<const uint32_t>;
void draw_rows(JobPainter& painter, size_t page, const Placement& place, uint64_t memory,
               const std::function<void(PixelRow row)>& sink);

}  // namespace kvjob
