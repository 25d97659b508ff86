#include "printhost/papers.h"

#include <gtest/gtest.h>

namespace kvprint {
namespace {

TEST(Papers, StandardCustomAndLarge) {
    const std::tuple<const char*, float, float, SHORT, SHORT, SHORT, SHORT, float> cases[] = {
        {"Letter", 612, 792, 1, DMORIENT_PORTRAIT, 0, 0, 1},
        {"Letter across", 792, 612, 1, DMORIENT_LANDSCAPE, 0, 0, 1},
        {"A4 in whole points", 595, 842, 9, DMORIENT_PORTRAIT, 0, 0, 1},
        {"A4 within a millimetre", 592.5f, 839.5f, 9, DMORIENT_PORTRAIT, 0, 0, 1},
        {"A pixel more than A4", 596, 842, 256, DMORIENT_PORTRAIT, 2103, 2971, 1},
        {"10 inches square", 720, 720, 256, DMORIENT_PORTRAIT, 2540, 2540, 1},
        {"5 by 2 inches", 360, 144, 256, DMORIENT_LANDSCAPE, 508, 1270, 1},
        {"a slide of 4 by 3", 362.835f, 272.126f, 256, DMORIENT_LANDSCAPE, 960, 1280, 1},
        {"a point", 1, 1, 256, DMORIENT_PORTRAIT, 10, 10, 1},
        {"10 metres by 1", 28346.46f, 2834.646f, 256, DMORIENT_LANDSCAPE, 3277, 32767, 0.32767f},
    };
    for (const auto& [name, width, height, code, orientation, paper_width, paper_length, scale] : cases) {
        const PageFit fit = fit_page(width, height);
        EXPECT_EQ(fit.mode.dmPaperSize, code) << name;
        EXPECT_EQ(fit.mode.dmOrientation, orientation) << name;
        EXPECT_EQ(fit.mode.dmPaperWidth, paper_width) << name;
        EXPECT_EQ(fit.mode.dmPaperLength, paper_length) << name;
        EXPECT_NEAR(fit.scale, scale, 1e-5) << name;
    }
}

}  // namespace
}  // namespace kvprint
