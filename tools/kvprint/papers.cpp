#include "tools/kvprint/papers.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

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
    {7, 184.15, 266.7},  // Executive
    {8, 297, 420},       // A3
    {9, 210, 297},       // A4
    {11, 148, 210},      // A5
};
constexpr SHORT kCustomPaper = 256;

}  // namespace

DEVMODEW device_mode_for(float width, float height) {
    constexpr double kMillimetresPerPoint = 25.4 / 72, kLargest = 3276.7;
    const double across = width * kMillimetresPerPoint, down = height * kMillimetresPerPoint;
    if (!(across >= 0.1 && down >= 0.1)) throw std::runtime_error("a page has no area");
    if (across > kLargest || down > kLargest) throw std::runtime_error("a page is larger than 3.2 m");
    DEVMODEW mode = {};
    mode.dmSize = sizeof mode;
    mode.dmSpecVersion = 0x0401;
    mode.dmFields = DM_ORIENTATION | DM_PAPERSIZE;
    mode.dmOrientation = across > down ? DMORIENT_LANDSCAPE : DMORIENT_PORTRAIT;
    const double narrow = std::min(across, down), wide = std::max(across, down);
    for (const Paper& paper : kPapers) {
        if (std::abs(narrow - paper.width) <= 1 && std::abs(wide - paper.height) <= 1) {
            mode.dmPaperSize = paper.code;
            return mode;
        }
    }
    mode.dmPaperSize = kCustomPaper;
    mode.dmFields |= DM_PAPERWIDTH | DM_PAPERLENGTH;
    mode.dmPaperWidth = static_cast<SHORT>(std::lround(narrow * 10));
    mode.dmPaperLength = static_cast<SHORT>(std::lround(wide * 10));
    return mode;
}

}  // namespace kvprint
