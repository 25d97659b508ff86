// Transfers without a source: fills, and how they are held back and joined.

#include "tests/record/blit_bytes.h"

namespace kv::test {
namespace {

using engine::Brush;
using engine::Clip;

constexpr ULONG kRed = 0xFF0000, kBlue = 0x0000FF, kWhite = 0xFFFFFF, kBlack = 0;

struct RectFillTest : PrintTest {
    BOOL fill(const RECTL& rect, ULONG colour, ROP4 rop = 0xF0F0, Clip* clip = nullptr) {
        Brush brush = Brush::solid(colour);
        return device->bit_blt(nullptr, nullptr, clip, nullptr, rect, nullptr, &brush, rop);
    }
    // Makes the page one with ink, behind which white is seen: 15 00 at the corner, then its records.
    void mark_page() {
        ASSERT_TRUE(fill({0, 0, 1, 1}, kBlack, 0x5555));
        expected.u8({14, 9, 0x55});
        put_rect(expected, {0, 0, 1, 1});
    }
    void expect_state(int red, int green, int blue) { expected.u8({39, 6, 8, 0, red, green, blue, 0x40}); }
    void expect_fill(int rop, const RECTL& rect) {
        expected.u8({14, 9, rop});
        put_rect(expected, rect);
    }
    void expect_page() {
        end_page_and_document();
        EXPECT_EQ(to_hex(page_records()), to_hex(expected.bytes));
    }
    BytesBuilder expected;
};

TEST_F(RectFillTest, SaysTheBrushOnlyWhereItIsUsed) {
    start_page();
    EXPECT_TRUE(fill({10, 20, 30, 40}, kRed, 0x0000));  // blackness
    EXPECT_TRUE(fill({10, 20, 30, 40}, kRed));
    EXPECT_TRUE(fill({50, 20, 60, 40}, kRed));
    EXPECT_TRUE(fill({50, 20, 60, 40}, kBlue));
    EXPECT_TRUE(fill({1, 2, 3, 4}, kRed, 0xFFFF));  // whiteness
    expect_fill(0x00, {10, 20, 30, 40});
    expect_state(0xFF, 0, 0);
    expect_fill(0xF0, {10, 20, 30, 40});
    expect_fill(0xF0, {50, 20, 60, 40});
    expect_state(0, 0, 0xFF);
    expect_fill(0xF0, {50, 20, 60, 40});
    expect_fill(0xFF, {1, 2, 3, 4});
    EXPECT_EQ(pdevice().pages.current()->flags, 0);  // fills are no marks, and none of these reads the page
    expect_page();
}

TEST_F(RectFillTest, JoinsWhatMakesOneRectangle) {
    const RECTL held = {100, 100, 200, 200};
    const struct {
        RECTL next, joined;  // joined: all 0 when the two stay apart
    } kCases[] = {
        {{100, 200, 200, 300}, {100, 100, 200, 300}},  // below, touching
        {{100, 201, 200, 300}, {}},                    // a row apart
        {{100, 50, 200, 150}, {100, 50, 200, 200}},    // above, overlapping
        {{100, 49, 200, 99}, {}},
        {{200, 100, 210, 200}, {100, 100, 210, 200}},  // to the right
        {{90, 100, 100, 200}, {90, 100, 200, 200}},    // to the left
        {{201, 100, 210, 200}, {}},
        {{120, 120, 180, 180}, held},  // inside
        {{120, 200, 180, 300}, {}},    // narrower
        {{90, 90, 210, 210}, {}},      // around
    };
    start_page();
    for (const auto& c : kCases) {
        EXPECT_TRUE(fill(held, kBlack, 0x0000));
        EXPECT_TRUE(fill(c.next, kBlack, 0x0000));
        if (c.joined.right) {
            expect_fill(0x00, c.joined);
        } else {
            expect_fill(0x00, held);
            expect_fill(0x00, c.next);
        }
        mark_page();  // something that is not held back, so that the next case begins anew
    }
    expect_page();
}

TEST_F(RectFillTest, HoldsOnlyOpaqueFillsBack) {
    start_page();
    EXPECT_TRUE(fill({0, 0, 10, 10}, kRed, 0x5A5A));
    EXPECT_FALSE(pdevice().pending.is_pending());
    EXPECT_TRUE(pdevice().pages.current()->flags & 0x01);
    EXPECT_TRUE(fill({0, 10, 10, 20}, kRed, 0x5A5A));
    expect_state(0xFF, 0, 0);
    expect_fill(0x5A, {0, 0, 10, 10});
    expect_fill(0x5A, {0, 10, 10, 20});
    EXPECT_TRUE(fill({0, 0, 10, 10}, kRed, 0x0F0F));
    EXPECT_TRUE(fill({0, 10, 10, 20}, kRed));  // another operation is not joined
    expect_fill(0x0F, {0, 0, 10, 10});
    expect_fill(0xF0, {0, 10, 10, 20});
    expect_page();
}

TEST_F(RectFillTest, WritesNothingForWhatCannotBeSeen) {
    // Even without a page or a device.
    EXPECT_TRUE(
        DrvBitBlt(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, 0x00AA));
    EXPECT_FALSE(
        DrvBitBlt(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, 0xF0F0));
    start_page();
    const RECTL rect = {0, 0, 10, 10};
    EXPECT_TRUE(fill(rect, kWhite));
    EXPECT_TRUE(fill(rect, kBlack, 0x0F0F));
    EXPECT_TRUE(fill(rect, kRed, 0xFFFF));
    EXPECT_TRUE(fill({5, 5, 5, 10}, kRed));
    EXPECT_TRUE(fill(rect, kRed, 0xCCCC));    // the source, of which there is none
    EXPECT_TRUE(fill(rect, kBlack, 0x5A5A));  // exclusive-or with black
    EXPECT_TRUE(device->bit_blt(nullptr, nullptr, nullptr, nullptr, rect, nullptr, nullptr, 0xF0F0));  // no brush
    EXPECT_FALSE(DrvBitBlt(device->surface(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                           nullptr, 0xF0F0));
    EXPECT_FALSE(pdevice().failed);
    EXPECT_TRUE(page_records().empty());
    // What is held back makes white visible already.
    EXPECT_TRUE(fill(rect, kRed));
    EXPECT_TRUE(fill(rect, kWhite));
    expect_state(0xFF, 0, 0);
    expect_fill(0xF0, rect);
    expected.u8({39, 6, 8, 0, 0, 0, 0, 0x80});
    expect_fill(0xF0, rect);
    expect_page();
}

TEST_F(RectFillTest, WideCoordinatesAndInvertedRectangles) {
    start_page();
    EXPECT_TRUE(fill({40, 30, 20, 10}, kBlack, 0x0000));
    EXPECT_TRUE(fill({0, 0, 32768, 10}, kBlack, 0x0000));
    expect_fill(0x00, {20, 10, 40, 30});
    expected.u8({51, 17, 0}).u32({0, 0, 32768, 10});
    expect_page();
}

TEST_F(RectFillTest, AClipOrAPageEndsWhatIsHeld) {
    start_page();
    Clip clip = Clip::rectangle({0, 0, 50, 15});
    EXPECT_TRUE(fill({0, 0, 50, 10}, kBlack, 0x0000));
    EXPECT_TRUE(fill({0, 10, 50, 20}, kBlack, 0x0000, &clip));
    EXPECT_TRUE(fill({0, 20, 50, 30}, kBlack, 0x0000, &clip));
    expect_fill(0x00, {0, 0, 50, 10});
    expected.u8({12, 8});
    put_rect(expected, {0, 0, 50, 15});
    expect_fill(0x00, {0, 10, 50, 30});
    EXPECT_TRUE(pdevice().pending.is_pending());
    expect_page();
}

}  // namespace
}  // namespace kv::test
