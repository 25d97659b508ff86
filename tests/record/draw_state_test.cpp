// Line attributes, what of the drawing state is told, and the tests for drawing that changes nothing.

#include "record/draw_state.h"

#include <limits>

#include "record/raster_ops.h"
#include "tests/common/print_test.h"

namespace kv::test {
namespace {

DrawAttrs attrs_of(const LINEATTRS& line, engine::Transform* transform = nullptr) {
    DrawAttrs attrs;
    SetLineAttrs(line, transform, attrs);
    return attrs;
}

struct Style {
    std::vector<FLOAT_LONG> entries;
    explicit Style(std::initializer_list<LONG> lengths) {
        for (LONG length : lengths) entries.push_back({.l = length});
    }
    LINEATTRS on(LINEATTRS line) {
        line.pstyle = entries.data();
        line.cstyle = static_cast<ULONG>(entries.size());
        return line;
    }
};

TEST(LineAttrs, TakesWidthsInDevicePixels) {
    engine::Transform stretched({2, 0, 0, 3, 100, 100}), flat({0, 0, 0, 0, 0, 0}), turned({0, 4, -1, 0, 0, 0});
    struct {
        LINEATTRS line;
        engine::Transform* transform;
        int width;
    } cases[] = {
        {geometric_line(0.7f), nullptr, 1},
        {geometric_line(5.9f), nullptr, 5},
        {geometric_line(5.9f), &stretched, 15},
        {geometric_line(5), &turned, 20},
        {geometric_line(5), &flat, 1},
        {geometric_line(-3.5f), nullptr, 0xFFFD},
        {hairline(0), nullptr, 1},
        {hairline(70000), &stretched, 4464},
        {hairline(65536), nullptr, 1},
        {geometric_line(65536), nullptr, 1},
        {geometric_line(std::numeric_limits<float>::quiet_NaN()), nullptr, 1},
    };
    for (const auto& test : cases) {
        const DrawAttrs attrs = attrs_of(test.line, test.transform);
        EXPECT_EQ(attrs.width, test.width);
        EXPECT_EQ(attrs.geometric, (test.line.fl & LA_GEOMETRIC) ? 1 : 0);
    }
    LINEATTRS line = geometric_line(2);
    line.iEndCap = ENDCAP_BUTT;
    line.iJoin = JOIN_MITER;
    line.eMiterLimit = 2.5f;
    const DrawAttrs attrs = attrs_of(line);
    EXPECT_EQ(attrs.presence, 0xF810);
    EXPECT_TRUE(attrs.end_cap == 2 && attrs.join == 2 && attrs.miter_limit == 2.5f && attrs.style_mask == 0);
    EXPECT_EQ(attrs_of(hairline(2)).presence, 0x1810);
}

TEST(LineAttrs, MakesMasksOfCosmeticStyles) {
    struct {
        std::initializer_list<LONG> lengths;
        int mask, dashes;
    } cases[] = {
        {{6, 2}, 0x03, 0},       {{1, 1, 1, 1, 1, 1, 1, 1}, 0x55, 0},
        {{3, 2, 1, 2}, 0x1B, 0}, {{3, 1, 1, 1, 1, 1}, 0x15, 0},
        {{0, 8}, 0xFF, 0},       {{8}, 0x00, 0},
        {{4, 4}, 0x0F, 2},       {{2, 1}, 0x20, 2},
        {{1, 20}, 0x00, 0},  // a gap of 16 steps and more leaves the mask
        {{9, 5}, 0x00, 0},       {{-4, 3, 1}, 0xE0, 3},
    };
    for (const auto& test : cases) {
        Style style(test.lengths);
        const DrawAttrs attrs = attrs_of(style.on(hairline()));
        EXPECT_EQ(attrs.style_mask, test.mask);
        EXPECT_EQ(attrs.dash_count, test.dashes);
        EXPECT_EQ(attrs.has(kAttrDashes), test.dashes > 0);
        for (int i = 0; i < test.dashes; ++i) {
            EXPECT_EQ(attrs.dashes[i], static_cast<WORD>(style.entries[static_cast<size_t>(i)].l));
        }
    }
    Style many({});
    many.entries.assign(300, {.l = 3});
    EXPECT_EQ(attrs_of(many.on(hairline())).dash_count, 255);
}

TEST(LineAttrs, MakesMasksOfGeometricStyles) {
    struct {
        float lengths[2];
        int mask, dashes[2];
    } cases[] = {
        {{1.9f, 2.9f}, 0x3E, {1, 2}},  // 1 and 2 of 3: two steps, then a gap of five
        {{100, 1}, 0x01, {100, 1}},    // a gap is one step at least
        {{6, 2}, 0x03, {6, 2}},        // geometric lines keep their dashes
        {{0.5f, 0.5f}, 0x00, {0, 0}},  // nothing to go by: solid
        {{3e9f, 1}, 0x01, {0xFFFF, 1}},
    };
    for (const auto& test : cases) {
        Style style({0, 0});
        for (size_t i = 0; i < 2; ++i) style.entries[i].e = test.lengths[i];
        const DrawAttrs attrs = attrs_of(style.on(geometric_line(1)));
        EXPECT_EQ(attrs.style_mask, test.mask);
        EXPECT_EQ(attrs.dash_count, 2);
        EXPECT_TRUE(attrs.dashes[0] == test.dashes[0] && attrs.dashes[1] == test.dashes[1]);
    }
}

struct DrawStateTest : PrintTest {
    void write(const std::function<void(DrawAttrs&)>& set) {
        DrawAttrs attrs;
        set(attrs);
        EXPECT_TRUE(WriteDrawState(pdevice(), attrs));
    }
    void set_width(WORD width) {
        write([&](DrawAttrs& attrs) { attrs.presence = kAttrWidth, attrs.width = width; });
    }
};

TEST_F(DrawStateTest, WritesEveryFieldInOrderAndOnlyOnce) {
    start_page();
    for (int twice = 0; twice < 2; ++twice) {
        write([](DrawAttrs& attrs) {
            attrs.presence = 0xFCDE;
            attrs.end_cap = 1, attrs.join = 2, attrs.miter_limit = 2.0f, attrs.width = 0x1234;
            attrs.stroke_brush = 0x40112233, attrs.stroke_rop = 13, attrs.style_mask = 0x0F;
            attrs.fill_brush = 0x80000001, attrs.fill_rop = 1, attrs.fill_mode = 1, attrs.geometric = 1;
            attrs.dash_count = 2, attrs.dashes[0] = 4, attrs.dashes[1] = 0x0605;
        });
    }
    EXPECT_EQ(pdevice().pages.current()->flags, 0);
    end_page_and_document();
    EXPECT_EQ(to_hex(page_records()),
              to_hex(from_hex("27 1C DEFC 01 02 00000040 3412 33221140 0D 0F 01000080 01 01 01 02 0400 0506")));
}

TEST_F(DrawStateTest, KeepsOneFormOfTheWidth) {
    start_page();
    for (int width : {300, 300, 200, 200, 300, 44, 255, 256}) set_width(static_cast<WORD>(width));
    end_page_and_document();
    EXPECT_EQ(to_hex(page_records()), to_hex(from_hex("27 04 0010 2C01 27 03 2000 C8 27 04 0010 2C01 27 03 2000 2C "
                                                      "27 03 2000 FF 27 04 0010 0001")));
}

TEST_F(DrawStateTest, ComparesDashesByContent) {
    start_page();
    auto dash = [&](BYTE count, WORD first) {
        write([&](DrawAttrs& attrs) {
            attrs.presence = kAttrDashes;
            attrs.dash_count = count;
            attrs.dashes[0] = first;
        });
    };
    dash(1, 5), dash(1, 5), dash(2, 5), dash(2, 6), dash(0, 6);
    end_page_and_document();
    EXPECT_EQ(to_hex(page_records()),
              to_hex(from_hex("27 05 0004 01 0500 27 07 0004 02 0500 0000 27 07 0004 02 0600 0000 27 03 0004 00")));
}

TEST_F(DrawStateTest, FlagsPagesThatReadTheDestination) {
    for (WORD bit : {kAttrStrokeRop, kAttrFillRop}) {
        for (BYTE rop = 1; rop <= 16; ++rop) {
            start_page();
            write([&](DrawAttrs& attrs) { attrs.presence = bit, attrs.stroke_rop = attrs.fill_rop = rop; });
            // Black, not-copy, copy and white do not look at what is there.
            const bool reads = rop != 1 && rop != 4 && rop != 13 && rop != 16;
            EXPECT_EQ(pdevice().pages.current()->flags, reads ? 0x01 : 0) << int{rop};
            end_page_and_document();
        }
    }
}

TEST(RasterOps, LeaveTheDestination) {
    constexpr BrushId kBlack[] = {0x80000004, 0x40000000}, kWhite[] = {0x80000000, 0x40FFFFFF};
    struct {
        int rop;
        bool black, white, grey, none;  // what changes nothing
    } cases[] = {
        {0x00, false, false, false, false}, {0x0F, false, false, false, true},  {0x50, false, false, false, true},
        {0x55, false, false, false, false}, {0x5A, true, false, false, true},   {0xA0, false, true, false, true},
        {0xA5, false, false, false, true},  {0xAA, true, true, true, true},     {0xF0, false, false, false, true},
        {0xFA, true, false, false, true},   {0xFF, false, false, false, false},
    };
    for (const auto& test : cases) {
        const auto rop = static_cast<BYTE>(test.rop);
        for (BrushId brush : kBlack) EXPECT_EQ(IsRopNoOp(rop, brush), test.black) << test.rop;
        for (BrushId brush : kWhite) EXPECT_EQ(IsRopNoOp(rop, brush), test.white) << test.rop;
        for (BrushId brush : {0x80000002u, 0x40123456u, 0x20000012u}) EXPECT_EQ(IsRopNoOp(rop, brush), test.grey);
        for (BrushId brush : {0u, 0x80000005u}) EXPECT_EQ(IsRopNoOp(rop, brush), test.none) << test.rop;
    }
    const int ternary[] = {0x00, 0x00, 0x05, 0x0A, 0x0F, 0x50, 0x55, 0x5A, 0x5F,
                           0xA0, 0xA5, 0xAA, 0xAF, 0xF0, 0xF5, 0xFA, 0xFF};
    for (BYTE rop2 = 0; rop2 <= 16; ++rop2) EXPECT_EQ(ternary_of(rop2), ternary[rop2]);
}

TEST_F(DrawStateTest, NamesSolidColoursByTheirStock) {
    struct {
        ULONG engine_colour;  // blue in the low byte
        BrushId id;
    } cases[] = {{0xFFFFFF, 0x80000000}, {0xC0C0C0, 0x80000001}, {0x808080, 0x80000002}, {0x404040, 0x80000003},
                 {0x000000, 0x80000004}, {0xC0C0C1, 0x40C1C0C0}, {0x102030, 0x40302010}, {0xFF000000, 0x80000004}};
    start_page();
    const DWORD position = pdevice().position;
    for (const auto& test : cases) {
        engine::Brush brush = engine::Brush::solid(test.engine_colour);
        EXPECT_EQ(ResolveBrush(pdevice(), &brush), test.id);
    }
    EXPECT_EQ(ResolveBrush(pdevice(), nullptr), 0x80000005u);
    EXPECT_EQ(pdevice().position, position);
    engine::Brush first = engine::Brush::hatched(4, 0x0000FF, 0xFFFFFF);
    engine::Brush again = engine::Brush::hatched(4, 0x0000FF, 0xFFFFFF);
    engine::Brush other = engine::Brush::hatched(5, 0x0000FF, 0xFFFFFF);
    for (engine::Brush* brush : {&first, &again, &other}) brush->bind(device.get());
    EXPECT_EQ(ResolveBrush(pdevice(), &first), 0x20000012u);
    EXPECT_EQ(ResolveBrush(pdevice(), &again), 0x20000012u);
    EXPECT_EQ(ResolveBrush(pdevice(), &other), 0x20000028u);  // 22 bytes on
    EXPECT_EQ(pdevice().statistics.brushes, 2u);
    end_page_and_document();
    EXPECT_EQ(to_hex(page_records()), to_hex(from_hex("07 14 12000020 02000000 0000FF00 04000000 FFFFFF00"
                                                      "07 14 28000020 02000000 0000FF00 05000000 FFFFFF00")));
}

}  // namespace
}  // namespace kv::test
