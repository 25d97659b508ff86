#include "drawing/paper.h"

#include <cmath>
#include <optional>

namespace kvjob {
namespace {

constexpr double kPointsPerInch = 72, kPerMillimetre = kPointsPerInch / 25.4;

struct NamedPaper {
    uint16_t code;  // as a Windows device mode has it
    PaperSize size;
};
constexpr PaperSize inches(double width, double height) { return {width * kPointsPerInch, height * kPointsPerInch}; }
constexpr PaperSize millimetres(double width, double height) {
    return {width * kPerMillimetre, height * kPerMillimetre};
}

// Papers that are no whole number of pixels at the usual resolutions, and those that people print on.
constexpr NamedPaper kPapers[] = {
    {1, inches(8.5, 11)},        {3, inches(11, 17)},         {5, inches(8.5, 14)},        {6, inches(5.5, 8.5)},
    {7, inches(7.25, 10.5)},     {8, millimetres(297, 420)},  {9, millimetres(210, 297)},  {11, millimetres(148, 210)},
    {12, millimetres(250, 354)}, {13, millimetres(182, 257)}, {20, inches(4.125, 9.5)},    {27, millimetres(110, 220)},
    {28, millimetres(162, 229)}, {37, inches(3.875, 7.5)},    {66, millimetres(420, 594)}, {70, millimetres(105, 148)},
};

bool near(double pixels, double points, int resolution) {
    constexpr double kRounding = 1.5;  // pixels, whichever way a length is rounded
    return std::abs(pixels - points * resolution / kPointsPerInch) <= kRounding;
}

}  // namespace

PaperSize paper_size(const IndexedPage& page, int resolution) {
    for (const auto& [code, size] : kPapers) {
        if (code != page.paper) continue;
        for (const PaperSize turned : {size, PaperSize{size.height, size.width}}) {
            if (near(page.width, turned.width, resolution) && near(page.height, turned.height, resolution)) {
                return turned;
            }
        }
    }
    return {page.width * kPointsPerInch / resolution, page.height * kPointsPerInch / resolution};
}

}  // namespace kvjob
