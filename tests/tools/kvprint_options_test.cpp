#include <gtest/gtest.h>

#include "printhost/papers.h"
#include "tools/kvprint/options.h"

namespace kvprint {
namespace {

TEST(Options, AllOfThem) {
    const Options options = parse_options(
        {"a.pdf", "-o", "b.kv", "--pages", "2-3,7", "--set", "Resolution=300", "--set", "Compression=0x1f", "--quiet"});
    EXPECT_EQ(options.input, "a.pdf");
    EXPECT_EQ(options.output, "b.kv");
    EXPECT_TRUE(options.quiet);
    const std::pair<std::string, uint32_t> expected[] = {{"Resolution", 300}, {"Compression", 0x1F}};
    EXPECT_TRUE(std::equal(options.settings.begin(), options.settings.end(), std::begin(expected), std::end(expected)));
    std::string wanted;
    for (int page = 1; page <= 8; ++page) wanted += options.wants_page(page) ? 'y' : 'n';
    EXPECT_EQ(wanted, "nyynnnyn");
    EXPECT_TRUE(parse_options({"a.pdf", "-o", "b.kv"}).wants_page(1000));
    EXPECT_TRUE(parse_options({"--help"}).help);
}

TEST(Options, UsageErrorsSayWhatIsWrong) {
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{}, "no input"},
        {{"a.pdf", "b.pdf", "-o", "c"}, "one input at a time: b.pdf"},
        {{"a.pdf", "-o"}, "-o needs a value"},
        {{"a.pdf", "-x"}, "no such option: -x"},
        {{"a.pdf", "-o", "b", "--pages", "0"}, "--pages: no such range: 0"},
        {{"a.pdf", "-o", "b", "--pages", "3-1"}, "--pages: no such range: 3-1"},
        {{"a.pdf", "-o", "b", "--pages", "1,,2"}, "--pages: not a number: "},
        {{"a.pdf", "-o", "b", "--pages", "1x"}, "--pages: not a number: 1x"},
        {{"a.pdf", "-o", "b", "--set", "Resolution"}, "--set: expected NAME=VALUE: Resolution"},
        {{"a.pdf", "-o", "b", "--set", "Resolution=4294967296"}, "--set Resolution: not a number: 4294967296"},
        {{"a.pdf", "-o", "b", "--set", "Resolution=0x"}, "--set Resolution: not a number: 0x"},
        {{"a.pdf", "-o", "b", "--set", "Colour=1"}, "--set: no such setting: Colour"},
    };
    for (const auto& [arguments, message] : cases) {
        try {
            parse_options(arguments);
            ADD_FAILURE() << "accepted: " << message;
        } catch (const UsageError& error) {
            EXPECT_EQ(std::string(error.what()), message);
        }
    }
}

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
