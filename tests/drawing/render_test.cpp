// Hand-built jobs drawn at one pixel a device pixel, and the colours that come out.

#include <gtest/gtest.h>

#include <atomic>

#include "drawing/render_job.h"
#include "reader/index.h"
#include "tests/common/job_builder.h"
#include "tests/common/samples.h"
#include "tests/drawing/drawn.h"
#include "tests/drawing/exercise.h"
#include "tests/drawing/job_parts.h"

namespace kvjob::test {
namespace {

// A geometric pen with flat ends, in black.
Buffer pen(int width, std::initializer_list<int64_t> dashes = {}) {
    Body state;
    const bool dashed = dashes.size() > 0;
    state.u16({dashed ? 0xCCF0 : 0xC8F0}).u8({2, 2}).u32({0x80000004}).u8({13, width, dashed ? 0x0F : 0, 1});
    if (dashed) state.u8({static_cast<int>(dashes.size())}).u16(dashes);
    return state;
}

TEST(RenderTest, PathsAreFilledByTheirRule) {
    // one square within another, both clockwise
    const Buffer nested = Body()
                              .u8({0, 2, 0x0B, 4})
                              .u16({10, 10, 90, 10, 90, 90, 10, 90})
                              .u8({0x0B, 4})
                              .u16({30, 30, 70, 30, 70, 70, 30, 70});
    for (int mode : {1, 2}) {
        const Drawn page = draw([&](JobBuilder& job) {
            job.record(39, Body().u16({0x0E}).u32({solid(kRed)}).u8({13, mode})).record(35, nested);
        });
        page.expect({{10, 10, kRed}, {89, 89, kRed}, {9, 50, kWhite}, {90, 50, kWhite}});
        page.expect({{50, 50, mode == 1 ? kWhite : kRed}});
    }
}

TEST(RenderTest, FiguresInSeveralEntriesAndCurves) {
    const Drawn page = draw([](JobBuilder& job) {
        job.record(39, fill_state(solid(kRed)));
        job.record(35, Body().u8({0, 2, 0x01, 2}).u16({10, 10, 50, 10}).u8({0x0A, 2}).u16({50, 50, 10, 50}));
        // a circle around (100, 50), its control points spread over entries
        job.record(35, Body()
                           .u8({1, 3, 0x11, 7})
                           .u16({130, 50, 130, 67, 117, 80, 100, 80, 83, 80, 70, 67, 70, 50})
                           .u8({0x10, 2})
                           .u16({70, 33, 83, 20})
                           .u8({0x1A, 4})
                           .u16({100, 20, 117, 20, 130, 33, 130, 50}));
    });
    page.expect({{49, 49, kRed}, {100, 21, kRed}});
    page.expect({{80, 33, kRed}});    // 26 from the centre
    page.expect({{77, 27, kWhite}});  // 33 from it
    page.expect({{122, 72, kWhite}});
}

TEST(RenderTest, LinesRunThroughPixelCentres) {
    const Drawn page = draw([](JobBuilder& job) {
        job.record(39, pen(1)).record(34, path16({10, 20, 60, 20}, 0x03));
        job.record(39, Body().u16({0x20}).u8({5})).record(34, path16({10, 40, 60, 40}, 0x03));
        job.record(34, path16({80, 20, 120, 20, 120, 60, 80, 60}));
    });
    page.expect({{30, 20, kBlack}, {30, 19, kWhite}, {30, 21, kWhite}});
    for (int y = 38; y <= 42; ++y) EXPECT_EQ(page.at(30, y), kBlack);
    page.expect({{30, 37, kWhite}, {30, 43, kWhite}});
    page.expect({{80, 40, kBlack}});  // closed
    page.expect({{78, 18, kBlack}});  // mitered
    page.expect({{100, 40, kWhite}});
}

TEST(RenderTest, DashesAndStyleMasks) {
    const Drawn page = draw([](JobBuilder& job) {
        job.record(39, pen(3, {9, 4})).record(34, path16({10, 20, 100, 20}, 0x03));
        // a cosmetic line: six steps on and two off, two pixels each; the dashes stay what they were
        job.record(39, Body().u16({0x830}).u8({1, 0x03, 0})).record(34, path16({10, 40, 100, 40}, 0x03));
        job.record(39, Body().u16({0x10}).u8({0xFF})).record(34, path16({10, 60, 100, 60}, 0x03));
        job.record(39, Body().u16({0x10}).u8({0})).record(34, path16({10, 80, 100, 80}, 0x03));
    });
    for (int start = 11; start + 12 < 90; start += 13) {
        page.expect({{start, 20, kBlack}, {start + 7, 20, kBlack}, {start + 9, 20, kWhite}, {start + 11, 20, kWhite}});
    }
    for (int start = 11; start + 15 < 90; start += 16) {
        page.expect({{start, 40, kBlack}, {start + 10, 40, kBlack}, {start + 12, 40, kWhite}});
        page.expect({{start + 14, 40, kWhite}});
    }
    EXPECT_EQ(page.marked(0, 55, 200, 65), 0);
    EXPECT_EQ(page.at(50, 80), kBlack);
}

TEST(RenderTest, BinaryOperations) {
    // of a pen of 0xCC on a page of 0xAA
    constexpr uint32_t kResults[16] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                                       0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
    for (int rop = 1; rop <= 16; ++rop) {
        const Drawn page = draw([&](JobBuilder& job) {
            job.record(39, fill_state(solid(0xAAAAAA))).record(14, fill16(0xF0, 0, 0, 200, 150));
            job.record(39, Body().u16({0x0C}).u32({solid(0xCCCCCC)}).u8({rop}));
            job.record(35, path16({10, 10, 50, 10, 50, 50, 10, 50}));
        });
        EXPECT_EQ(page.at(30, 30), kResults[rop - 1] * 0x010101) << rop;
        EXPECT_EQ(page.at(60, 30), 0xAAAAAAu);
    }
}

TEST(RenderTest, TernaryOperations) {
    // With a pattern of 0xF0, a source of 0xCC and a page of 0xAA the result is the operation's code.
    const Buffer image = packed_bitmap(2, 1, 24, {}, Body().fill(6, 0xCC).u16({0}));
    for (int rop = 0; rop < 256; ++rop) {
        const bool source = (((rop >> 2) ^ rop) & 0x33) != 0;
        const Drawn page = draw([&](JobBuilder& job) {
            job.record(39, fill_state(solid(0xAAAAAA))).record(14, fill16(0xF0, 0, 0, 200, 150));
            job.record(39, fill_brush(solid(0xF0F0F0)));
            job.record(18, Body().u8({rop}).add(rect16(0, 0, 2, 1)).add(rect16(10, 10, 12, 11)).add(image));
            if (!source) job.record(14, fill16(rop, 20, 10, 30, 20));
        });
        EXPECT_EQ(page.at(10, 10), static_cast<uint32_t>(rop) * 0x010101) << rop;
        EXPECT_EQ(page.at(11, 10), static_cast<uint32_t>(rop) * 0x010101) << rop;
        EXPECT_EQ(page.at(12, 10), 0xAAAAAAu);
        if (source) continue;
        EXPECT_EQ(page.at(25, 15), static_cast<uint32_t>(rop) * 0x010101) << rop;
    }
}

TEST(RenderTest, ClipsLimitEveryWayOfDrawing) {
    const Buffer white = packed_bitmap(1, 1, 24, {}, {255, 255, 255, 0});
    // the left and upper half of a square, and a rectangle as large as it
    const Buffer triangle = path16({20, 20, 120, 20, 20, 120});
    struct Case {
        int clip;
        Buffer body;
    };
    for (const Case& clip : {Case{33, triangle}, Case{12, rect16(20, 20, 60, 60)}}) {
        const Drawn page = draw([&](JobBuilder& job) {
            job.record(39, fill_state(solid(kRed))).record(clip.clip, clip.body);
            job.record(14, fill16(0xF0, 0, 0, 200, 40));   // copied
            job.record(14, fill16(0x5A, 0, 40, 200, 50));  // reads the page
            job.record(18, Body().u8({0x33}).add(rect16(0, 0, 1, 1)).add(rect16(0, 50, 200, 150)).add(white));
            job.record(10).record(14, fill16(0xF0, 190, 140, 200, 150));
        });
        page.expect({{30, 25, kRed}, {30, 45, 0x00FFFFu}, {30, 55, kBlack}});
        EXPECT_EQ(page.marked(0, 0, 20, 150), 0);
        EXPECT_EQ(page.marked(0, 0, 200, 20), 0);
        page.expect({{115, 50, kWhite}, {58, 110, kWhite}, {195, 145, kRed}});
    }
}

TEST(RenderTest, HatchesAndPatterns) {
    const Drawn page = draw([](JobBuilder& job) {
        const uint32_t cross = job.next_id();
        job.record(7, Body().u32({cross, 2, 0x0000FF, 4, 0xFFFF00}));  // red on cyan
        const uint32_t slanted = job.next_id();
        job.record(7, Body().u32({slanted, 2, 0, 2, 0xFFFFFF}));
        const uint32_t pattern = job.next_id();
        job.record(7, Body().u32({pattern, 5, 0, 0, 0}).add(packed_bitmap(2, 1, 1, {kBlue, kRed}, {0x40, 0, 0, 0})));
        job.record(39, fill_state(cross)).record(14, fill16(0xF0, 0, 0, 80, 80));
        job.record(39, fill_brush(slanted)).record(14, fill16(0xF0, 80, 0, 160, 80));
        job.record(39, fill_brush(pattern)).record(14, fill16(0xF0, 0, 80, 80, 150));
        job.record(14, fill16(0x0F, 80, 80, 160, 150));
    });
    // lines of one pixel, eight apart at 100 dots per inch
    for (int cell = 0; cell < 80; cell += 8) {
        page.expect({{cell + 4, 10, kRed}, {10, cell + 4, kRed}, {cell + 1, 10, 0x00FFFFu}});
    }
    // downwards to the right: the same along the line, white between
    EXPECT_LT(page.at(88, 8) & 0xFF, 0x80u);
    EXPECT_LT(page.at(91, 11) & 0xFF, 0x80u);
    page.expect({{92, 8, kWhite}, {20, 100, kBlue}, {21, 100, kRed}, {120, 100, 0xFFFF00u}, {121, 100, 0x00FFFFu}});
}

TEST(RenderTest, OtherResolutionsShrinkWhatIsDrawn) {
    const Drawn page = draw(
        [](JobBuilder& job) {
            job.record(39, fill_state(solid(kRed))).record(14, fill16(0xF0, 20, 20, 40, 40));
            job.record(14, fill16(0xF0, 60, 20, 61, 40));
        },
        50);
    EXPECT_EQ(page.height, 75);
    page.expect({{10, 10, kRed}, {19, 19, kRed}, {20, 19, kWhite}});
    EXPECT_NEAR(static_cast<int>(page.at(30, 15) & 0xFF), 0x80, 1);  // half a pixel wide
}

TEST(RenderTest, TextStandsOnItsBaselineAndTurnsWithIt) {
    const Drawn page = draw([](JobBuilder& job) {
        const uint32_t upright = job.next_id();
        job.record(9, font_definition(upright, -100, u"DejaVu Sans"));
        const uint32_t turned = job.next_id();
        job.record(9, font_definition(turned, -100, u"DejaVu Sans", 900));
        job.record(19, Body().u8({0xC8}).u32({upright, 0x0000FF}).u8({1})).record(30, letters(u"II", 10, 100, 30));
        job.record(19, Body().u8({0x80}).u32({turned})).record(30, letters(u"I", 180, 60, 30));
    });
    // upright: from 27 to 100 and about 10 to 20 into the advance
    page.expect({{25, 60, kRed}, {55, 60, kRed}, {40, 60, kWhite}, {25, 97, kRed}, {25, 30, kRed}, {25, 22, kWhite}});
    EXPECT_EQ(page.marked(0, 101, 200, 150), 0);
    // turned: it leans to the left of the baseline, which runs upwards
    page.expect({{140, 45, kRed}, {177, 45, kRed}});
    EXPECT_EQ(page.marked(182, 0, 200, 150), 0);
    EXPECT_EQ(page.marked(90, 62, 200, 101), 0);
}

TEST(RenderTest, GlyphsDrawAsTheirCharactersDo) {
    auto page = [](bool by_glyph) {
        JobBuilder job;
        job.page_width = 200, job.page_height = 150;
        const uint32_t font = start_page_with_font(job, -60);
        job.record(19, Body().u8({0xC8}).u32({font, 0}).u8({1}));
        // "AB" has the glyphs 36 and 37
        job.record(30,
                   by_glyph ? Body().u8({0x20, 2}).u16({36, 37, 10, 90, 50, 50}).bytes : letters(u"AB", 10, 90, 50));
        return Drawn(job.end_page().finish(), 100);
    };
    EXPECT_GT(page(false).marked(10, 40, 110, 91), 500);
    EXPECT_TRUE(page(true) == page(false));
}

TEST(RenderTest, OpaqueTextCoversItsRectangle) {
    const Drawn page = draw([](JobBuilder& job) {
        const uint32_t font = job.next_id();
        job.record(9, font_definition(font, -40, u"DejaVu Sans"));
        job.record(19, Body().u8({0xE8}).u32({font, 0, 0xFF0000}).u8({2}));
        job.record(30, Body().u8({0x50, 1}).u16({' ', 0, 20, 60, 30}).add(rect16(10, 20, 50, 70)));
        job.record(30, letters(u" ", 100, 60, 30));
    });
    page.expect({{10, 20, kBlue}, {49, 69, kBlue}, {50, 69, kWhite}});
    page.expect({{115, 40, kBlue}});  // by the font's ascent and the advance
    page.expect({{131, 40, kWhite}, {115, 80, kWhite}});
}

TEST(RenderTest, StylesThatTheFaceLacksAreSimulated) {
    auto page = [](int weight, bool italic) {
        JobBuilder job;
        job.page_width = 200, job.page_height = 150;
        const uint32_t file = job.start_page().next_id();
        job.record(28, Body().u32({file, static_cast<int64_t>(sample_font().size())}).add(sample_font()));
        const uint32_t font = job.next_id();
        Buffer definition = embedded_font_definition(font, -100, file, 1);
        definition[20] = static_cast<uint8_t>(weight), definition[21] = static_cast<uint8_t>(weight >> 8);
        definition[24] = italic;
        job.record(9, definition);
        job.record(19, Body().u8({0xC8}).u32({font, 0}).u8({1})).record(30, letters(u"I", 50, 100, 30));
        return Drawn(job.end_page().finish(), 100);
    };
    const Drawn plain = page(400, false), bold = page(700, false), italic = page(400, true);
    EXPECT_GT(bold.marked(0, 60, 200, 61), plain.marked(0, 60, 200, 61) + 2);
    auto left_of = [](const Drawn& drawn, int y) {
        int x = 0;
        while (drawn.at(x, y) == kWhite) ++x;
        return x;
    };
    EXPECT_EQ(left_of(plain, 35), left_of(plain, 95));
    EXPECT_GT(left_of(italic, 35), left_of(italic, 95) + 10);
}

TEST(RenderTest, DamageIsLeftOutAndTheRestIsDrawn) {
    const Drawn page = draw([](JobBuilder& job) {
        job.record(39, fill_state(0x20000001)).record(14, fill16(0xF0, 0, 0, 50, 50));  // of a brush that is not there
        job.record(30, letters(u"x", 5, 5, 5));                                         // without a font
        job.record(99, {1, 2, 3});
        job.record(18, {0xCC});
        job.record(39, fill_brush(solid(kRed))).record(14, fill16(0xF0, 60, 0, 100, 50));
    });
    EXPECT_EQ(page.faults, 4u);
    page.expect({{20, 20, kWhite}, {80, 20, kRed}});
}

TEST(RenderTest, PagesOfSeveralThreadsAreThoseOfOne) {
    for (const Buffer& job : sample_jobs()) {
        std::map<std::string, std::vector<uint8_t>> files[2];
        for (const size_t threads : {1, 4}) {
            Kept kept;
            RenderOptions options;
            options.dots_per_inch = 20;
            options.threads = threads;
            options.output = "page%d";
            options.open = kept.open();
            Reports reports(stderr);
            render_job(job, options, reports);
            files[threads == 4] = kept.files;
        }
        EXPECT_TRUE(files[0] == files[1]);
    }
}

TEST(RenderTest, TheFirstFailureEndsTheWork) {
    struct Full : Output {
        void write(Bytes) override { throw std::runtime_error("full"); }
        void finish() override { ADD_FAILURE(); }
    };
    JobBuilder job;
    for (int page = 0; page < 20; ++page) job.start_page().end_page();
    const Buffer whole = job.finish();
    for (const auto format : {RenderOptions::Format::Png, RenderOptions::Format::Svg, RenderOptions::Format::Pdf}) {
        std::atomic<int> opened = 0;
        RenderOptions options;
        options.format = format;
        options.threads = 2;
        options.output = "page%d";
        options.open = [&](const std::string&) {
            ++opened;
            return std::make_unique<Full>();
        };
        Reports reports(stderr);
        EXPECT_THROW(render_job(whole, options, reports), std::runtime_error);
        EXPECT_LE(opened, 4);  // what was under way
    }
}

// A record that inflates to more, and a path and patterns that would take more, are left out; the rest is drawn.
TEST(RenderTest, WhatExceedsTheMemoryIsLeftOut) {
    constexpr uint64_t kMemory = 1 << 20;
    const Buffer blank = packed_bitmap(600, 600, 24, {}, Buffer(600 * 1800));     // 1.08 MB, a kilobyte deflated
    const Buffer pattern = packed_bitmap(400, 400, 1, {0, 0}, Buffer(400 * 52));  // 640 KB of pixels
    Body points;
    points.u8({0, 1, 0x0B}).u8({0xFE}).u16({6000});  // 1.2 MB of edges
    for (int i = 0; i < 6000; ++i) points.u16({i % 100, i % 7});
    JobBuilder job;
    job.page_width = 200, job.page_height = 150;
    job.start_page().record(39, fill_state(solid(kRed)));
    job.compressed_record(18, Body().u8({0xCC}).add(rect16(0, 0, 600, 600)).add(rect16(0, 0, 50, 50)).add(blank));
    job.sized_record(35, points);
    job.record(14, fill16(0xF0, 60, 0, 100, 50));
    for (const int left : {0, 50}) {
        const uint32_t brush = job.next_id();
        job.sized_record(7, Body().u32({brush, 5, 0, 0, 0}).add(pattern));
        job.record(39, fill_brush(brush)).record(14, fill16(0xF0, left, 60, left + 50, 100));
    }
    const Drawn page(job.end_page().finish(), 100, kMemory);
    EXPECT_EQ(page.faults, 3u);
    page.expect({{20, 20, kWhite}, {80, 20, kRed}, {20, 80, kBlack}, {70, 80, kWhite}});
}

// All kinds of records, on the first pages of the samples, in bands of some dozens of rows and whole.
TEST(RenderTest, BandsOfAPageJoin) {
    constexpr int kNear = 1;  // level; at 61 dots in bands of 17 rows a sample is not the same to the bit
    for (const Buffer& all : sample_jobs()) {
        constexpr int32_t kWide = 30000;
        if (find_summary(all).pages[0].width > kWide) continue;
        for (const double dots : {61.0, 40.0}) {
            const Drawn whole(all, dots);
            for (const uint64_t rows : {17, 100}) {
                const auto width = static_cast<uint64_t>(whole.width());
                const Drawn banded(all, dots, rows * width * 16);
                EXPECT_LE(banded.difference(whole), kNear) << dots << " dots, " << rows << " rows";
            }
            EXPECT_THROW(Drawn(all, dots, 15 * 16), std::runtime_error);
        }
    }
}

}  // namespace
}  // namespace kvjob::test
