// Surfaces turned into packed bitmaps.

#include "record/surface_dib.h"

#include <numeric>

#include "tests/record/blit_bytes.h"

namespace kv::test {
namespace {

using engine::Bitmap;
using engine::RowOrder;
using engine::Translation;

Bytes bytes_of(const DibView& dib) {
    const auto head = static_cast<size_t>(dib_head_size(*dib.header));
    const auto* header = reinterpret_cast<const BYTE*>(dib.header);
    Bytes bytes(header, header + head);
    bytes.insert(bytes.end(), dib.bits, dib.bits + dib_bits_size(*dib.header));
    return bytes;
}

struct SurfaceDibTest : PrintTest {
    void SetUp() override {
        PrintTest::SetUp();
        open_device();
    }
    void TearDown() override {
        image = SurfaceImage();
        PrintTest::TearDown();
    }
    PrivateDevMode& settings() { return pdevice().settings.kv; }
    BOOL convert(Bitmap& bitmap, Translation* translation, RECTL source = {}) {
        SurfaceRequest request = {.surface = &bitmap};
        request.translation = translation;
        request.source = source.right ? source : RECTL{0, 0, bitmap.width(), bitmap.height()};
        request.resolution = resolution;
        request.keep_alpha = keep_alpha;
        request.mask = mask;
        image = SurfaceImage();
        return ConvertSurfaceToDib(pdevice(), request, image);
    }
    std::string hex() { return to_hex(bytes_of(image.view())); }
    void expect_source(const RECTL& rect) { EXPECT_TRUE(same_rect(image.source, rect)); }

    SurfaceImage image;
    WORD resolution = 0;
    bool keep_alpha = false;
    Bitmap* mask = nullptr;
};

TEST_F(SurfaceDibTest, FormatsAndColours) {
    // Three pixels a row, whose bits are 1, 0, 1 or so; the table's top bytes do not come along.
    const struct {
        ULONG format;
        int bits;
        std::vector<ULONG> table;
        std::string row;  // of the pixels 1, 0, 1
    } kCases[] = {
        {BMF_1BPP, 1, {0xFF112233, 0x445566}, "A0000000"},
        {BMF_4BPP, 4, grays(16), "10100000"},
        {BMF_8BPP, 8, grays(256), "01000100"},
        {BMF_16BPP, 16, {}, "0100 0000 0100 0000"},
        {BMF_24BPP, 24, {}, "010000 000000 010000 000000"},
        {BMF_32BPP, 32, {}, "01000000 00000000 01000000"},
    };
    for (const auto& c : kCases) {
        for (RowOrder order : {RowOrder::TopDown, RowOrder::BottomUp}) {
            Bitmap bitmap(c.format, 3, 2, order);
            bitmap.set_pixel(0, 0, 1);
            bitmap.set_pixel(2, 0, 1);
            Translation table(c.table);
            ASSERT_TRUE(convert(bitmap, c.table.empty() ? nullptr : &table)) << c.bits;
            BytesBuilder expected;
            put_dib_header(expected, 3, 2, c.bits);
            for (ULONG color : c.table) expected.u32({color & 0xFFFFFF});
            const Bytes top = from_hex(c.row);
            append(expected, Bytes(top.size()));  // the lower row comes first
            append(expected, top);
            EXPECT_EQ(hex(), to_hex(expected.bytes)) << c.bits;
        }
    }
}

TEST_F(SurfaceDibTest, EncodedSurfacesStayAsTheyAre) {
    Bitmap encoded(BMF_8RLE, 4, 2, from_hex("0401 0000 0402 0001"));
    Translation table(grays(256));
    ASSERT_TRUE(convert(encoded, &table, {1, 1, 3, 2}));
    BytesBuilder expected;
    put_dib_header(expected, 4, 2, 8, BI_RLE8, 8);
    for (ULONG color : grays(256)) expected.u32({color});
    expected.u8({4, 1, 0, 0, 4, 2, 0, 1});
    EXPECT_EQ(hex(), to_hex(expected.bytes));
    expect_source({1, 1, 3, 2});
}

TEST_F(SurfaceDibTest, ColourFields) {
    const struct {
        ULONG format, red, green, blue;
        bool keep_alpha, standard;
    } kCases[] = {
        {BMF_16BPP, 0x7C00, 0x03E0, 0x001F, false, true}, {BMF_16BPP, 0xF800, 0x07E0, 0x001F, false, false},
        {BMF_24BPP, 0xFF0000, 0xFF00, 0xFF, false, true}, {BMF_24BPP, 0xFF, 0xFF00, 0xFF0000, false, false},
        {BMF_32BPP, 0xFF0000, 0xFF00, 0xFF, false, true}, {BMF_32BPP, 0xFF, 0xFF00, 0xFF0000, false, false},
        {BMF_32BPP, 0xFF0000, 0xFF00, 0xFF, true, false}, {BMF_32BPP, 0xFFC00000, 0x3FF800, 0x7FF, true, false},
    };
    for (const auto& c : kCases) {
        keep_alpha = c.keep_alpha;
        Bitmap bitmap(c.format, 1, 1);
        Translation named(c.red, c.green, c.blue);
        // The same fields, of which nobody tells.
        Translation found([&](ULONG bit) {
            return ULONG{bit & c.red ? 0x010000u : bit & c.green ? 0x8000u : bit & c.blue ? 0xFFu : 0u};
        });
        for (Translation* translation : {&named, &found}) {
            ASSERT_TRUE(convert(bitmap, translation)) << c.format;
            const DibView dib = image.view();
            EXPECT_EQ(dib.header->biCompression, DWORD{c.standard ? BI_RGB : BI_BITFIELDS}) << c.format << c.red;
            if (c.standard) continue;
            EXPECT_EQ(dib_head_size(*dib.header), 52u);
            EXPECT_EQ(dib.color(0), c.red);
            EXPECT_EQ(dib.color(1), c.green);
            EXPECT_EQ(dib.color(2), c.blue);
        }
    }
}

TEST_F(SurfaceDibTest, RefusesWhatIsNoBitmap) {
    auto refused = [&](Bitmap& bitmap, Translation* translation, RECTL source = {}) {
        return !convert(bitmap, translation, source) && !image.mask;
    };
    Bitmap deep(BMF_24BPP, 4, 4), indexed(BMF_4BPP, 4, 4), words(BMF_16BPP, 4, 4);
    Translation short_table(grays(15)), no_table, holes(0xF0F000, 0x0F00, 0xFF), overlap(0xFF00, 0xFFF, 0xFF),
        too_wide(0x1F0000, 0x7E0, 0x1F), just_too_wide(0x1F000, 0x7E0, 0x1F), missing(0xFF0000, 0, 0xFF);
    EXPECT_TRUE(refused(indexed, nullptr));
    EXPECT_TRUE(refused(indexed, &no_table));
    EXPECT_TRUE(refused(indexed, &short_table));
    EXPECT_TRUE(refused(deep, &holes));
    EXPECT_TRUE(refused(deep, &overlap));
    EXPECT_TRUE(refused(words, &too_wide));
    EXPECT_TRUE(refused(words, &just_too_wide));
    EXPECT_TRUE(refused(words, &no_table));  // derived: nothing of 16 bits lights red
    EXPECT_TRUE(refused(deep, &missing));
    EXPECT_TRUE(refused(deep, nullptr, {4, 0, 8, 4}));
    EXPECT_TRUE(refused(deep, nullptr, {3, 3, 1, 1}));
    deep.lDelta += 4;
    EXPECT_TRUE(refused(deep, nullptr));
    deep.lDelta = -12;  // only the amount counts
    EXPECT_FALSE(refused(deep, nullptr));
    for (ULONG format : {0u, 9u, 0x7FFFFFFFu}) {
        deep.iBitmapFormat = format;
        EXPECT_TRUE(refused(deep, nullptr));
    }
    deep.iBitmapFormat = BMF_24BPP;
    deep.pvBits = nullptr;
    EXPECT_TRUE(refused(deep, nullptr));
}

TEST_F(SurfaceDibTest, CropsToWhatIsUsed) {
    // Pixel values 1 to 12 in rows of four.
    for (RowOrder order : {RowOrder::TopDown, RowOrder::BottomUp}) {
        for (ULONG format : {BMF_4BPP, BMF_8BPP, BMF_24BPP}) {
            Bitmap bitmap(format, 4, 3, order);
            for (LONG i = 0; i < 12; ++i) bitmap.set_pixel(i % 4, i / 4, static_cast<ULONG>(i + 1));
            Translation table(grays(format == BMF_4BPP ? 16 : 256));
            ASSERT_TRUE(convert(bitmap, format == BMF_24BPP ? nullptr : &table, {1, 1, 3, 3}));
            expect_source({0, 0, 2, 2});
            const Bytes all = bytes_of(image.view());
            const std::string rows = to_hex(Bytes(all.end() - (format == BMF_24BPP ? 16 : 8), all.end()));
            EXPECT_EQ(rows, to_hex(from_hex(format == BMF_4BPP   ? "AB000000 67000000"
                                            : format == BMF_8BPP ? "0A0B0000 06070000"
                                                                 : "0A0000 0B0000 0000 060000 070000 0000")));
            // Reaching outside on all sides: the pixels of the surface, and the rectangle around them.
            ASSERT_TRUE(convert(bitmap, format == BMF_24BPP ? nullptr : &table, {-5, -6, 7, 8}));
            expect_source({-5, -6, 7, 8});
            EXPECT_EQ(image.view().header->biWidth, 4);
            EXPECT_EQ(image.view().header->biHeight, 3);
            ASSERT_TRUE(convert(bitmap, format == BMF_24BPP ? nullptr : &table, {2, -2, 9, 1}));
            expect_source({0, -2, 7, 1});
            EXPECT_EQ(image.view().header->biWidth, 2);
            EXPECT_EQ(image.view().header->biHeight, 1);
        }
    }
}

TEST_F(SurfaceDibTest, CropsBitsThatStartWithinAByte) {
    Bitmap bitmap(BMF_1BPP, 40, 1);
    const Bytes bits = from_hex("9A5CE1370F");
    std::copy(bits.begin(), bits.end(), bitmap.row(0));
    Translation table({0, 0xFFFFFF});
    for (LONG left = 0; left < 40; ++left) {
        for (LONG right = left + 1; right <= 40; ++right) {
            ASSERT_TRUE(convert(bitmap, &table, {left, 0, right, 1}));
            const DibView dib = image.view();
            ASSERT_EQ(dib.header->biWidth, right - left);
            for (LONG x = 0; x < right - left; ++x) {
                ASSERT_EQ(dib.bits[x / 8] >> (7 - x % 8) & 1, static_cast<int>(bitmap.pixel(left + x, 0)));
            }
            // Nothing of the pixels behind.
            const LONG used = (right - left) % 8;
            if (used && right - left < 40) {
                ASSERT_EQ(dib.bits[(right - left) / 8] & 0xFF >> used, 0);
            }
        }
    }
}

TEST_F(SurfaceDibTest, CopiesOnlyWhatChanges) {
    Bitmap bottom_up(BMF_32BPP, 100, 100, RowOrder::BottomUp), top_down(BMF_32BPP, 100, 100);
    ASSERT_TRUE(convert(bottom_up, nullptr));
    EXPECT_EQ(image.view().bits, bottom_up.pvBits);
    ASSERT_TRUE(convert(bottom_up, nullptr, {0, 10, 100, 20}));  // whole rows
    EXPECT_EQ(image.view().bits, static_cast<BYTE*>(bottom_up.pvBits) + 80 * 400);
    ASSERT_TRUE(convert(top_down, nullptr));
    EXPECT_NE(image.view().bits, top_down.pvBits);
}

// Reduction works on the rows as they are in memory; the result is bottom-up all the same.
TEST_F(SurfaceDibTest, ReducesColours) {
    settings().Compression = 0x20;
    for (RowOrder order : {RowOrder::TopDown, RowOrder::BottomUp}) {
        Bitmap bitmap(BMF_24BPP, 2, 2, order);
        for (LONG x : {0, 1}) bitmap.set_pixel(x, 0, 0xFF0000);
        ASSERT_TRUE(convert(bitmap, nullptr));
        const DibView dib = image.view();
        ASSERT_EQ(dib.header->biBitCount, 1);
        // The lower row is black, the upper red.
        EXPECT_EQ(dib.color(dib.bits[0] >> 7), 0u);
        EXPECT_EQ(dib.color(dib.bits[4] >> 7), 0xFF0000u);
    }
    keep_alpha = true;
    Bitmap with_alpha(BMF_32BPP, 20, 20);
    ASSERT_TRUE(convert(with_alpha, nullptr));
    EXPECT_EQ(image.view().header->biBitCount, 32);
}

TEST_F(SurfaceDibTest, DownsamplesByTheDepthAfterReduction) {
    settings().ResDownSamp = 300;
    settings().ResDownSampMono = 150;
    const struct {
        ULONG format;
        WORD compression, resolution;
        LONG width;  // of 120
        int bits;
    } kCases[] = {
        {BMF_24BPP, 0x40, 600, 60, 24},
        {BMF_24BPP, 0x80, 600, 120, 24},
        {BMF_24BPP, 0x40, 300, 120, 24},
        {BMF_24BPP, 0x40, 0, 120, 24},
        {BMF_1BPP, 0x80, 600, 30, 1},
        {BMF_1BPP, 0x40, 600, 120, 1},
        // Two colours: 1 bit by then.
        {BMF_24BPP, 0x60, 600, 120, 1},
        {BMF_24BPP, 0xA0, 600, 30, 1},
        {BMF_24BPP, 0xE0, 200, 90, 1},
    };
    for (const auto& c : kCases) {
        settings().Compression = c.compression;
        resolution = c.resolution;
        Bitmap bitmap(c.format, 120, 120);
        for (LONG y = 0; y < 120; ++y) bitmap.set_pixel(y, y, 1);
        Translation table({0, 0xFFFFFF});
        ASSERT_TRUE(convert(bitmap, c.format == BMF_1BPP ? &table : nullptr));
        EXPECT_EQ(image.view().header->biWidth, c.width) << c.format << "/" << c.compression;
        EXPECT_EQ(image.view().header->biBitCount, c.bits);
        expect_source({0, 0, c.width, c.width});
    }
    // A rectangle that is not the whole bitmap is scaled, rounded up: (300 v + 599) / 600.
    settings().Compression = 0x40;
    resolution = 600;
    Bitmap bitmap(BMF_24BPP, 120, 120);
    ASSERT_TRUE(convert(bitmap, nullptr, {-3, 0, 121, 120}));
    expect_source({-1, 0, 61, 60});
}

TEST_F(SurfaceDibTest, Masks) {
    Bitmap source(BMF_24BPP, 10, 2), wider(BMF_1BPP, 11, 2), deeper(BMF_8BPP, 10, 2);
    Translation trivial;
    for (RowOrder order : {RowOrder::TopDown, RowOrder::BottomUp}) {
        Bitmap fitting(BMF_1BPP, 10, 2, order);
        fitting.row(0)[0] = 0x81;
        mask = &fitting;
        ASSERT_TRUE(convert(source, nullptr));
        BytesBuilder expected;
        put_dib_header(expected, 10, 2, 1).u32({0, 0xFFFFFF, 0, 0x81});
        EXPECT_EQ(to_hex(bytes_of(image.mask.view())), to_hex(expected.bytes));
        fitting.lDelta *= 2;
        ASSERT_TRUE(convert(source, nullptr));
        EXPECT_FALSE(image.mask);
    }
    for (Bitmap* other : {&wider, &deeper}) {
        mask = other;
        ASSERT_TRUE(convert(source, nullptr));
        EXPECT_FALSE(image.mask);
    }
    // With a mask nothing is downsampled, nor cut off at the sides.
    settings().Compression = 0x40;
    settings().ResDownSamp = 10;
    resolution = 600;
    Bitmap large(BMF_24BPP, 120, 120), large_mask(BMF_1BPP, 120, 120);
    mask = &large_mask;
    ASSERT_TRUE(convert(large, nullptr));
    EXPECT_TRUE(image.mask);
    EXPECT_EQ(image.view().header->biWidth, 120);
    Bitmap narrow(BMF_1BPP, 5, 1);
    mask = &narrow;
    ASSERT_TRUE(convert(source, nullptr, {0, 1, 5, 2}));
    EXPECT_TRUE(image.mask);
    EXPECT_EQ(image.view().header->biWidth, 10);
    EXPECT_EQ(image.view().header->biHeight, 1);
    expect_source({0, 0, 5, 1});
    ASSERT_TRUE(convert(source, nullptr, {1, 1, 6, 2}));
    EXPECT_FALSE(image.mask);
}

TEST_F(SurfaceDibTest, ResolutionOfTheImage) {
    settings().Resolution = 600;
    const struct {
        RECTL source, destination;
        WORD resolution;
    } kCases[] = {
        {{0, 0, 100, 100}, {0, 0, 200, 100}, 600},
        {{0, 0, 100, 100}, {0, 0, 200, 200}, 300},
        {{50, 0, 100, 70}, {0, 0, 999, 200}, 210},
        {{0, 0, 1, 1}, {0, 0, 1199, 1199}, 1},  // 0.5004 rounded
        {{0, 0, 0, 1}, {0, 0, 10, 10}, 0},
        {{0, 0, 10, 10}, {10, 0, 0, 10}, 0},
        {{0, 0, 1000, 1}, {0, 0, 1, 1}, 0xFFFF},  // 600000
        {{-0x7FFFFFFF, 0, 0x7FFFFFFF, 1}, {0, 0, 1, 1}, 0xFFFF},
    };
    for (const auto& c : kCases) EXPECT_EQ(ImageResolution(pdevice(), c.source, c.destination), c.resolution);
    settings().Resolution = 0;
    EXPECT_EQ(ImageResolution(pdevice(), {0, 0, 1, 1}, {0, 0, 1, 1}), 0);
}

}  // namespace
}  // namespace kv::test
