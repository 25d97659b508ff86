#include "printhost/text_runs.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <sstream>

namespace kvprint {
namespace {

// The lengths of the runs, by characters ("3") or by glyphs ("#3").
std::string lengths(const std::vector<PlacedGlyph>& glyphs, double degrees, bool vertical = false) {
    std::ostringstream text;
    for (const TextRun& run : split_runs(glyphs, degrees, vertical)) {
        text << (text.tellp() > 0 ? " " : "") << (run.by_character ? "" : "#") << run.glyphs.size();
        if (run.off_baseline) text << "|";
    }
    return text.str();
}

std::vector<PlacedGlyph> at(std::vector<POINTL> origins) {
    std::vector<PlacedGlyph> glyphs;
    for (const POINTL& origin : origins)
        glyphs.push_back({static_cast<double>(origin.x), static_cast<double>(origin.y), 5, u'x'});
    return glyphs;
}

TEST(TextRuns, OneBaselineAndForwards) {
    const std::tuple<const char*, std::vector<PlacedGlyph>, double, const char*> cases[] = {
        {"nothing", {}, 0, ""},
        {"a line", at({{10, 50}, {20, 50}, {20, 50}, {900, 50}}), 0, "4"},
        {"a raised glyph", at({{10, 50}, {20, 49}, {30, 50}}), 0, "1 1 1"},
        {"backwards", at({{30, 50}, {20, 50}, {40, 50}}), 0, "1 2"},
        {"farther than an advance goes", at({{0, 50}, {32768, 50}}), 0, "1 1"},
        {"up the page", at({{10, 50}, {10, 40}, {10, 10}, {11, 5}}), 90, "3 1"},
        {"upside down", at({{50, 10}, {40, 10}, {45, 10}}), 180, "2 1"},
        {"down the page", at({{10, 10}, {10, 40}, {10, 30}}), 270, "2 1"},
        {"nearly level is level", at({{10, 50}, {20, 50}, {30, 49}}), 0.9, "2 1"},
        {"characters and glyphs", {{0, 0, 1, u'a'}, {1, 0, 2, 0}, {2, 0, 3, 0}, {3, 0, 4, u'b'}}, 0, "1 #2 1"},
    };
    for (const auto& [name, glyphs, degrees, expected] : cases) EXPECT_EQ(lengths(glyphs, degrees), expected) << name;
}

TEST(TextRuns, TextAcrossTheBaselineAndBackwards) {
    EXPECT_EQ(lengths(at({{10, 50}, {10, 90}, {11, 130}, {10, 170}}), 0, true), "3| 1");
    EXPECT_EQ(lengths(at({{10, 50}, {-30, 50}, {-70, 50}}), 90, true), "3|");
    EXPECT_EQ(lengths(at({{10, 50}, {10, 90}}), 0), "1 1");
    EXPECT_EQ(lengths(at({{10, 50}, {20, 50}}), 0, true), "2");
    // Words from right to left; two glyphs that go back stay.
    const auto runs = split_runs(at({{90, 50}, {80, 50}, {70, 50}, {30, 50}, {20, 50}}), 0);
    ASSERT_EQ(runs.size(), 1u);
    EXPECT_EQ(runs[0].origins.front().x, 20);
    EXPECT_EQ(lengths(at({{10, 50}, {30, 50}, {20, 50}, {40, 50}}), 0), "2 2");
}

// At any angle, whole advances from each run's start lead to every glyph.
TEST(TextRuns, SlantedBaselinesKeepTheirPlaces) {
    for (double degrees : {5.0, 30.0, 45.0, 100.0, 200.0, 333.3}) {
        const double angle = degrees * std::numbers::pi / 180;
        std::vector<PlacedGlyph> glyphs;
        for (int i = 0; i < 200; ++i) {
            const double along = 13.37 * i;
            glyphs.push_back({3000 + along * std::cos(angle), 3000 - along * std::sin(angle), 1, u'x'});
        }
        const std::vector<TextRun> runs = split_runs(glyphs, degrees);
        EXPECT_LE(runs.size(), 8u) << degrees;  // 2674 pixels
        for (const TextRun& run : runs) {
            double told = 0;
            const POINTL first = run.origins.front();
            for (size_t i = 0; i < run.glyphs.size(); ++i) {
                const POINTL last = run.origins[i ? i - 1 : 0], here = run.origins[i];
                told += std::round(std::hypot(here.x - last.x, here.y - last.y));
                EXPECT_NEAR(first.x + told * std::cos(angle), run.glyphs[i].x, 1.0) << degrees;
                EXPECT_NEAR(first.y - told * std::sin(angle), run.glyphs[i].y, 1.0) << degrees;
            }
        }
    }
}

}  // namespace
}  // namespace kvprint
