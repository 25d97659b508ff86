// Brushes with a pattern: how they are realised, defined once and told apart.

#include "record/brush.h"
#include "tests/common/fault_test.h"
#include "tests/record/blit_bytes.h"

namespace kv::test {
namespace {

using engine::Bitmap;
using engine::Brush;
using engine::RowOrder;
using engine::Translation;

struct PatternBrushTest : PrintTest {
    BOOL fill(Brush& brush, const RECTL& rect) {
        return device->bit_blt(nullptr, nullptr, nullptr, nullptr, rect, nullptr, &brush, 0xF0F0);
    }
    // What the driver makes of a pattern.
    const RealizedBrush* realize(Brush& brush) {
        brush.bind(device.get());
        return static_cast<const RealizedBrush*>(brush.realized());
    }
};

TEST_F(PatternBrushTest, IsDefinedOnce) {
    Bitmap pattern(BMF_1BPP, 8, 2), same(BMF_1BPP, 8, 2, RowOrder::BottomUp), other(BMF_1BPP, 8, 2);
    for (Bitmap* bitmap : {&pattern, &same}) bitmap->row(0)[0] = 0xAA;
    Translation colors({0x0000FF, 0xFFFFFF}), other_colors({0x00FF00, 0xFFFFFF});
    Brush first = Brush::patterned(&pattern, &colors), equal = Brush::patterned(&same, &colors),
          second = Brush::patterned(&other, &colors), third = Brush::patterned(&pattern, &other_colors);
    start_page();
    EXPECT_TRUE(fill(first, {0, 0, 10, 10}));
    EXPECT_TRUE(fill(equal, {0, 10, 10, 20}));  // joined: the brush is the same
    EXPECT_TRUE(fill(second, {0, 0, 10, 10}));
    EXPECT_TRUE(fill(third, {0, 0, 10, 10}));
    EXPECT_TRUE(fill(first, {0, 0, 10, 10}));
    EXPECT_EQ(pdevice().statistics.brushes, 3u);
    end_page_and_document();
    EXPECT_EQ(faults_of(job()), "");

    BytesBuilder expected;
    auto define = [&](int color0, const char* bits) {
        const int64_t id = 0x20000000 + 18 + static_cast<int64_t>(expected.bytes.size());
        expected.u8({7, 20 + 56}).u32({id, 5, 0, 0, 0});
        put_dib_header(expected, 8, 2, 1).u32({color0, 0xFFFFFF});
        append(expected, bits);
        return id;
    };
    auto use = [&](int64_t id, const RECTL& rect) {
        expected.u8({39, 6}).u16({8}).u32({id}).u8({14, 9, 0xF0});
        put_rect(expected, rect);
    };
    const int64_t id = define(0x0000FF, "00000000 AA000000");
    use(id, {0, 0, 10, 20});
    use(define(0x0000FF, "00000000 00000000"), {0, 0, 10, 10});
    use(define(0x00FF00, "00000000 AA000000"), {0, 0, 10, 10});
    use(id, {0, 0, 10, 10});
    EXPECT_EQ(to_hex(page_records()), to_hex(expected.bytes));
}

TEST_F(PatternBrushTest, IsReducedButNotResampled) {
    set(u"Compression", 0x60);
    set(u"ResDownSamp", 1);
    open_device();
    Bitmap pattern(BMF_24BPP, 64, 64);
    pattern.set_pixel(0, 0, 0xFF);
    Brush brush = Brush::patterned(&pattern, nullptr);
    const RealizedBrush* realized = realize(brush);
    ASSERT_TRUE(realized);
    EXPECT_EQ(realized->kind, BrushKind::Pattern);
    const auto* header = reinterpret_cast<const BITMAPINFOHEADER*>(realized + 1);
    EXPECT_EQ(header->biBitCount, 1);
    EXPECT_EQ(header->biWidth, 64);
    EXPECT_EQ(realized_brush_size(*realized), 20u + 40 + 8 + 8 * 64);
}

TEST_F(PatternBrushTest, WhatIsNoPatternIsWhiteOrNothing) {
    open_device();
    auto kind = [&](Brush& brush) {
        const RealizedBrush* realized = realize(brush);
        return !realized ? -1 : static_cast<int>(realized->kind) | static_cast<int>(realized->colour);
    };
    Bitmap unknown(BMF_8BPP, 8, 8), indexed(BMF_8BPP, 8, 8), words(BMF_16BPP, 64, 64), masks(BMF_32BPP, 64, 64);
    unknown.iBitmapFormat = 9;
    Translation empty, swapped(0xFF, 0xFF00, 0xFF0000);
    Brush none = Brush::patterned(nullptr, &empty), strange = Brush::patterned(&unknown, &empty),
          no_table = Brush::patterned(&indexed, &empty), fields = Brush::patterned(&masks, &swapped);
    EXPECT_EQ(kind(none), 0xFFFFFF);
    EXPECT_EQ(kind(strange), 0xFFFFFF);
    EXPECT_EQ(kind(no_table), -1);
    EXPECT_EQ(kind(fields), 5);
    // Of more than 256 colours it takes 24 bits a pixel, for which there is no room.
    pdevice().settings.kv.Compression = 0x20;
    for (LONG i = 0; i < 64 * 64; ++i) words.set_pixel(i % 64, i / 64, static_cast<ULONG>(i));
    Brush too_large = Brush::patterned(&words, nullptr);
    EXPECT_EQ(kind(too_large), -1);
    // A brush that cannot be realised paints nothing, and the document goes on.
    start_page();
    EXPECT_TRUE(fill(no_table, {0, 0, 10, 10}));
    end_page_and_document();
    EXPECT_TRUE(page_records().empty());
}

}  // namespace
}  // namespace kv::test
