#include "printhost/papers.h"

#include <algorithm>
#include <cmath>

namespace kvprint {
namespace {

struct Paper {
    SHORT code;
    double width, height;  // millimetres
};
constexpr Paper kPapers[] = {
    {1, 215.9, 279.4},   // Letter
    {3, 279.4, 431.8},   // Tabloid
    {5, 215.9, 355.6},   // Legal
    {6, 139.7, 215.9},   // Statement
    {7, 184.15, 266.7},  // Executive
    {8, 297, 420},       // A3
    {9, 210, 297},       // A4
    {11, 148, 210},      // A5
    {13, 182, 257},      // B5 (JIS)
    {34, 176, 250},      // Envelope B5
    {66, 420, 594},      // A2
};
constexpr SHORT kCustomPaper = 256;
constexpr double kLargest = 3276.7, kSmallest = 1;  // millimetres

}  // namespace

PageFit fit_page(float width, float height) {
    constexpr double kMillimetresPerPoint = 25.4 / 72;
    double across = width * kMillimetresPerPoint, down = height * kMillimetresPerPoint;
    const double scale = std::min(1.0, kLargest / std::max(across, down));
    across *= scale;
    down *= scale;
    PageFit fit = {{}, static_cast<float>(scale)};
    DEVMODEW& mode = fit.mode;
    mode.dmSize = sizeof mode;
    mode.dmSpecVersion = 0x0401;
    mode.dmFields = DM_ORIENTATION | DM_PAPERSIZE;
    mode.dmOrientation = across > down ? DMORIENT_LANDSCAPE : DMORIENT_PORTRAIT;
    const double narrow = std::min(across, down), wide = std::max(across, down);
    constexpr double kLost = 0.1, kLeft = 1;  // millimetres of the page beyond a paper, and of paper beyond the page
    auto fits = [](double page, double paper) { return page - paper <= kLost && paper - page <= kLeft; };
    for (const Paper& paper : kPapers) {
        if (fits(narrow, paper.width) && fits(wide, paper.height)) {
            mode.dmPaperSize = paper.code;
            return fit;
        }
    }
    // Rounded up: what lies at the page's edges is on the paper.
    constexpr double kExact = 0.05;  // tenths
    auto tenths = [](double size) { return static_cast<SHORT>(std::ceil(std::max(size, kSmallest) * 10 - kExact)); };
    mode.dmPaperSize = kCustomPaper;
    mode.dmFields |= DM_PAPERWIDTH | DM_PAPERLENGTH;
    mode.dmPaperWidth = tenths(narrow);
    mode.dmPaperLength = tenths(wide);
    return fit;
}

}  // namespace kvprint
