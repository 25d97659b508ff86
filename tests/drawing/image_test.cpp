// Images of hand-built jobs as they are drawn: scaled, cropped, keyed, masked, and put on the page by operations.

#include "tests/common/plain_jpeg.h"
#include "tests/drawing/drawn.h"

namespace kvjob::test {
namespace {

TEST(ImageTest, TransparencyOfEveryKind) {
    const Buffer two = packed_bitmap(2, 1, 24, {}, {0, 0, 255, 255, 0, 0, 0, 0});  // red, blue
    const Buffer source = rect16(0, 0, 2, 1);
    const Drawn page = draw([&](JobBuilder& job) {
        job.record(41, Body().u32({0x00800000}).add(source).add(rect16(0, 0, 20, 10)).add(two));
        const Buffer own = packed_bitmap(2, 1, 32, {}, Body().u32({0x80800000, 0x00000000}));
        job.record(41, Body().u32({0x01FF0000}).add(source).add(rect16(20, 0, 40, 10)).add(own));
        job.record(59, Body().u8({255, 0, 0, 0}).add(source).add(rect16(40, 0, 60, 10)).add(two));
        const Buffer mask = packed_bitmap(2, 1, 1, {0, kWhite}, {0x80, 0, 0, 0});
        job.record(61,
                   Body().u16({0}).add(source).u16({60, 0, 80, 0, 80, 10, 60, 10}).u32({48, 52}).add(two).add(mask));
    });
    page.expect({{5, 5, 0xFF7F7Fu}, {15, 5, 0x7F7FFFu}, {25, 5, 0xFF7F7Fu}, {35, 5, kWhite}, {45, 5, kWhite}});
    page.expect({{55, 5, kBlue}, {65, 5, kRed}, {75, 5, kWhite}});
}

TEST(ImageTest, ImagesAreScaledCroppedAndTurned) {
    // upper row red, blue; lower row black, white
    const Buffer image = packed_bitmap(2, 2, 24, {}, {0, 0, 0, 255, 255, 255, 0, 0, 0, 0, 255, 255, 0, 0, 0, 0});
    auto bitmap = [&](const Buffer& source, const Buffer& target) {
        return Body().u8({0xCC}).add(source).add(target).add(image).bytes;
    };
    const Drawn page = draw([&](JobBuilder& job) {
        job.record(18, bitmap(rect16(0, 0, 2, 2), rect16(0, 0, 20, 20)));
        job.record(18, bitmap(rect16(0, 0, 2, 2), rect16(40, 20, 20, 0)));  // turned over both ways
        job.record(18, bitmap(rect16(1, 0, 2, 1), rect16(40, 0, 60, 20)));
        job.record(18, bitmap(rect16(0, 1, 2, 2), rect16(60, 0, 61, 1)));  // black and white in one pixel
        job.record(18, bitmap(rect16(0, 0, 2, 2), rect16(195, 145, 215, 165)));
    });
    page.expect({{0, 0, kRed}, {9, 9, kRed}, {10, 9, kBlue}, {9, 10, kBlack}, {19, 19, kWhite}, {39, 19, kRed}});
    page.expect({{20, 19, kBlue}, {39, 0, kBlack}, {50, 19, kBlue}, {60, 0, 0x808080u}, {199, 149, kRed}});
}

TEST(ImageTest, SourcesThatOverhangDrawThePartThatExists) {
    const Buffer two = packed_bitmap(2, 1, 24, {}, {0, 0, 255, 255, 0, 0, 0, 0});  // red, blue
    const Drawn page = draw([&](JobBuilder& job) {
        auto bitmap = [&](const Buffer& source, const Buffer& target) {
            job.record(18, Body().u8({0xCC}).add(source).add(target).add(two));
        };
        bitmap(rect16(-1, 0, 3, 2), rect16(10, 10, 50, 30));                       // ten pixels for one
        bitmap(rect16(1, 0, 3, 1), rect16(80, 10, 60, 20));                        // turned over: its blue to the right
        const Buffer mask = packed_bitmap(4, 1, 1, {0, kWhite}, {0xB0, 0, 0, 0});  // without the second one
        job.record(61, Body()
                           .u16({0})
                           .add(rect16(-1, 0, 3, 1))
                           .u16({90, 10, 130, 10, 130, 20, 90, 20})
                           .u32({48, 52})
                           .add(two)
                           .add(mask));
    });
    EXPECT_EQ(page.faults, 0u);
    page.expect(
        {{19, 15, kWhite}, {20, 10, kRed}, {29, 19, kRed}, {30, 15, kBlue}, {40, 15, kWhite}, {35, 20, kWhite}});
    page.expect({{70, 15, kBlue}, {79, 15, kBlue}, {69, 15, kWhite}, {80, 15, kWhite}});
    page.expect({{95, 15, kWhite}, {105, 15, kWhite}, {110, 15, kBlue}, {119, 15, kBlue}, {125, 15, kWhite}});
}

TEST(ImageTest, KeysHoldForWhatJpegMakesOfThem) {
    for (const int quality : {10, 50, 95}) {
        Body rows;  // dark on the right, from a border between blocks
        for (int i = 0; i < 64 * 32; ++i) i % 64 < 32 ? rows.u8({231, 17, 202}) : rows.u8({20, 20, 20});
        const Buffer stream = kv::test::plain_jpeg(rows.bytes, 64, 32, false, quality);
        const Drawn page = draw([&](JobBuilder& job) {
            job.sized_record(
                59, Body().u8({231, 17, 202, 1}).add(rect16(0, 0, 64, 32)).add(rect16(0, 0, 64, 32)).add(stream));
        });
        EXPECT_EQ(page.marked(0, 0, 31, 32), 0) << quality;  // neighbours share their chroma
        EXPECT_EQ(page.marked(32, 0, 64, 32), 32 * 32) << quality;
    }
}

TEST(ImageTest, OperationsOnReducedPicturesGiveTheMeanOfTheirResults) {
    // Four pixels of the page from sixteen bars: 1, 3, 2 and 0 of 4 are the first colour, the rest the second.
    constexpr uint32_t kPage = 0x406080, kBrush = 0xC02040;
    const struct {
        int rop;
        std::array<uint32_t, 2> colours;
        std::array<uint32_t, 4> expected;
    } kRows[] = {
        // the brush where the source is black: 0x40 + 0x80 / 4 of red, 0x60 - 0x40 / 4 of green, ...
        {0xB8, {kBlack, kWhite}, {0x605070, 0xA03050, 0x804060, kPage}},
        {0xB8, {kWhite, kBlack}, {0xA03050, 0x605070, 0x804060, kBrush}},
        // inverts where the source is white: three quarters of 0x40 and one of 0xBF, ...
        {0x66, {kWhite, kBlack}, {0x606F80, 0x9F8F7F, 0x808080, kPage}},
        // and: 0x40 & 0xF0, 0x60 & 0x20, 0x80 & 0xC0 where the first colour is, nothing elsewhere
        {0x88, {0xF020C0, kBlack}, {0x100820, 0x301860, 0x201040, kBlack}},
    };
    for (const auto& row : kRows) {
        const Buffer bars = packed_bitmap(16, 1, 1, {row.colours[1], row.colours[0]}, {0x8E, 0xC0, 0, 0});
        auto page = [&](double dots_per_inch) {
            return draw(
                [&](JobBuilder& job) {
                    job.record(39, fill_state(solid(kPage))).record(14, fill16(0xF0, 0, 0, 200, 150));
                    job.record(39, fill_brush(solid(kBrush)));
                    job.record(18, Body().u8({row.rop}).add(rect16(0, 0, 16, 1)).add(rect16(40, 40, 56, 44)).add(bars));
                },
                dots_per_inch);
        };
        const Drawn reduced = page(25);
        for (int x = 0; x < 4; ++x) {
            for (int shift = 0; shift < 24; shift += 8) {
                const uint32_t found = reduced.at(10 + x, 10), expected = row.expected[static_cast<size_t>(x)];
                EXPECT_NEAR(static_cast<int>(found >> shift & 0xFF), static_cast<int>(expected >> shift & 0xFF), 1)
                    << row.rop << ", " << x << ": " << std::hex << found;
            }
        }
        EXPECT_EQ(page(100).at(54, 42), row.expected[3]) << row.rop;
    }
}

}  // namespace
}  // namespace kvjob::test
