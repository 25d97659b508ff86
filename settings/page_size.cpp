#include "settings/page_size.h"

#include <algorithm>
#include <utility>

#include "settings/paper_table.h"
#include "support/trace.h"

namespace kv {
namespace {

PageSize size_of(const PaperRecord& paper, int resolution) {
    return {MulDiv(paper.width, resolution, 25400), MulDiv(paper.height, resolution, 25400), paper.width / 1000,
            paper.height / 1000};
}

}  // namespace

PageSize GetPaperSizePixels(const DEVMODEW& mode, int resolution) {
    PageSize size;
    if (const PaperRecord* paper = find_standard_paper(static_cast<WORD>(mode.dmPaperSize))) {
        size = size_of(*paper, resolution);
    } else {
        int width = mode.dmPaperWidth, height = mode.dmPaperLength;  // tenths of a millimetre
        size = {MulDiv(width, resolution, 254), MulDiv(height, resolution, 254), width / 10, height / 10};
    }
    if (std::min({size.width_px, size.height_px, size.width_mm, size.height_mm}) <= 0) {
        KV_TRACE(Settings, Warning, "paper %d has no size: the default one", mode.dmPaperSize);
        size = size_of(*CStdPaperList().GetDefault(), resolution);
    }
    bool landscape = size.width_px > size.height_px;
    bool portrait = size.height_px > size.width_px;
    if ((mode.dmOrientation == DMORIENT_PORTRAIT && landscape) ||
        (mode.dmOrientation == DMORIENT_LANDSCAPE && portrait)) {
        std::swap(size.width_px, size.height_px);
        std::swap(size.width_mm, size.height_mm);
    }
    return size;
}

RECTL GetPrintableRect(const DriverDevMode& settings) {
    const PrivateDevMode& kv = settings.kv;
    PageSize page = GetPaperSizePixels(settings, kv.Resolution);
    return {MulDiv(kv.MarginLeft, kv.Resolution, 1000), MulDiv(kv.MarginTop, kv.Resolution, 1000),
            page.width_px - MulDiv(kv.MarginRight, kv.Resolution, 1000),
            page.height_px - MulDiv(kv.MarginBottom, kv.Resolution, 1000)};
}

}  // namespace kv
