// Colour reduction, downsampling, and both as the settings ask.

#include "image/prepare.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "tests/common/host_test.h"
#include "tests/image/dibs.h"

namespace kv::test {
namespace {

using PrepareTest = HostTest;

DWORD widened(DWORD value, int bits) { return bits == 5 ? value << 3 | value >> 2 : value << 2 | value >> 4; }

// A pixel's colour, for the layouts that these tests use.
DWORD color_of(const DibView& dib, LONG x, LONG row) {
    const DWORD pixel = pixel_of(dib, x, row);
    const bool masked = dib.header->biCompression == BI_BITFIELDS;
    switch (dib.header->biBitCount) {
        case 16:  // 5-6-5 when there are masks
            return masked
                       ? widened(pixel >> 11, 5) << 16 | widened(pixel >> 5 & 63, 6) << 8 | widened(pixel & 31, 5)
                       : widened(pixel >> 10 & 31, 5) << 16 | widened(pixel >> 5 & 31, 5) << 8 | widened(pixel & 31, 5);
        case 24:
        case 32:  // red first when there are masks
            return masked ? (pixel & 0xFF) << 16 | (pixel & 0xFF00) | (pixel >> 16 & 0xFF) : pixel & 0xFFFFFF;
        default:
            return dib.color(pixel) & 0xFFFFFF;
    }
}

// A bitmap of bit fields as color_of reads them.
Dib masked(LONG width, LONG height, WORD bits) {
    BITMAPINFOHEADER header = dib_header(width, height, bits);
    header.biCompression = BI_BITFIELDS;
    Dib dib(header);
    const DWORD masks[2][3] = {{0xF800, 0x7E0, 0x1F}, {0xFF, 0xFF00, 0xFF0000}};
    std::memcpy(dib.table(), masks[bits != 16], sizeof masks[0]);
    return dib;
}

Dib noise(LONG width, LONG height, WORD bits, DWORD compression, Random& random) {
    if (compression == BI_RGB) return Dib::noise(width, height, bits, random);
    Dib dib = masked(width, height, bits);
    std::generate_n(dib.row(0), dib_bits_size(dib.header()), [&] { return static_cast<BYTE>(random() >> 8); });
    return dib;
}

// Sources of a given depth, of `colors` colours that the depth can hold, all of them used.
Dib of_colors(LONG width, LONG height, WORD bits, DWORD colors, Random& random) {
    Dib dib = Dib::noise(width, height, bits, random);
    for (LONG y = 0; y < height; ++y) {
        for (LONG x = 0; x < width; ++x) {
            const auto index = static_cast<DWORD>(y * width + x);
            const DWORD value = index < colors ? index : random.below(colors);
            dib.set(x, y, bits <= 8 ? value : value * (bits == 16 ? 3 : 0x010203));
        }
    }
    return dib;
}

TEST_F(PrepareTest, ReducesToTheFewestBitsThatHoldTheColors) {
    struct {
        WORD bits;
        DWORD colors;
        WORD reduced;  // 0: left alone
    } static const cases[] = {
        {4, 1, 1},   {4, 2, 1},    {4, 3, 0},     {4, 16, 0},  {8, 2, 1},    {8, 3, 4},    {8, 16, 4},
        {8, 17, 0},  {8, 256, 0},  {16, 2, 1},    {16, 16, 4}, {16, 17, 8},  {16, 256, 8}, {16, 257, 24},
        {24, 2, 1},  {24, 3, 4},   {24, 16, 4},   {24, 17, 8}, {24, 256, 8}, {24, 257, 0}, {32, 2, 1},
        {32, 16, 4}, {32, 256, 8}, {32, 257, 24}, {1, 2, 0},
    };
    Random random(1);
    for (const auto& c : cases) {
        // Odd widths, and rows of more than one chunk.
        for (LONG width : {41, 2053}) {
            Dib dib = of_colors(width, 9, c.bits, c.colors, random);
            const Bytes original = dib.all();
            PackedDib result;
            ASSERT_EQ(ReduceColorDepth(dib.view(), result), c.reduced != 0) << c.bits << " bits, " << c.colors;
            EXPECT_EQ(dib.all(), original);
            if (c.reduced == 0) continue;
            const BITMAPINFOHEADER expected = dib_header(width, 9, c.reduced);
            ASSERT_EQ(std::memcmp(&result.header(), &expected, sizeof expected), 0) << c.bits << ", " << c.colors;
            for (LONG y = 0; y < 9; ++y) {
                for (LONG x = 0; x < width; ++x) {
                    ASSERT_EQ(color_of(result.view(), x, y), color_of(dib.view(), x, y)) << c.bits << ", " << c.colors;
                }
            }
        }
    }
}

TEST_F(PrepareTest, ReducesToBytesThatCanBeToldBeforehand) {
    // Colours stand in the table in order of appearance, the last row of the picture first. Padding is 0.
    Dib dib(10, -2, 24);
    for (LONG x = 0; x < 10; ++x) dib.set(x, 0, x < 3 ? 0x112233 : 0x445566), dib.set(x, 1, 0x445566);
    PackedDib result;
    ASSERT_TRUE(ReduceColorDepth(dib.view(), result));
    const Bytes expected = BytesBuilder()
                               .u32({40, 10, -2})
                               .u16({1, 1})
                               .u32({0, 0, 0, 0, 0, 0, 0x112233, 0x445566})
                               .u8({0x1F, 0xC0, 0, 0, 0xFF, 0xC0, 0, 0})
                               .bytes;
    EXPECT_EQ(Bytes(result.data(), result.data() + result.size()), expected);
}

TEST_F(PrepareTest, ReducesEqualPaletteEntriesAndMaskedPixels) {
    // 16 entries, of which the upper half repeats the lower, with bits that are no colour.
    std::vector<DWORD> table;
    for (DWORD i = 0; i < 16; ++i) table.push_back(i % 2 * 0xABCDEF + (i << 24));
    Dib repeated(16, 1, 4, table);
    for (LONG x = 0; x < 16; ++x) repeated.set(x, 0, static_cast<DWORD>(x));
    PackedDib result;
    ASSERT_TRUE(ReduceColorDepth(repeated.view(), result));
    EXPECT_TRUE(result.header().biBitCount == 1 && result.table()[0] == 0 && result.table()[1] == 0xABCDEF);

    Random random(2);
    for (WORD bits : {WORD{16}, WORD{24}, WORD{32}}) {
        Dib dib = masked(100, 3, bits);
        for (LONG i = 0; i < 300; ++i) dib.set(i % 100, i / 100, random.below(200) * 0x010305);
        ASSERT_TRUE(ReduceColorDepth(dib.view(), result)) << bits;
        EXPECT_EQ(result.header().biBitCount, 8);
        for (LONG x = 0; x < 100; ++x) ASSERT_EQ(color_of(result.view(), x, 1), color_of(dib.view(), x, 1)) << bits;
    }
    for (auto [compression, bits] : {std::pair{BI_RLE8, WORD{8}}, std::pair{BI_RLE4, WORD{4}}}) {
        Dib dib(dib_header(20, 20, bits));
        dib.header().biCompression = compression;
        EXPECT_FALSE(ReduceColorDepth(dib.view(), result) || result);
    }
    Dib scattered = masked(20, 20, 32);  // a mask that is no run of bits
    scattered.table()[1] = 0xF0F000;
    EXPECT_FALSE(ReduceColorDepth(scattered.view(), result));
}

TEST_F(PrepareTest, ScalesSizes) {
    struct {
        LONG width, height, source, target, new_width, new_height;  // -1: left alone
    } static const cases[] = {
        {1200, 900, 600, 150, 300, 225}, {100, 100, 151, 150, -1, -1},                              // shrinks by 1 only
        {1000, 100, 151, 150, -1, -1},   {302, 302, 151, 150, 300, 300}, {10, 10, 600, 400, 7, 7},  // 6.67
        {5, 5, 200, 100, 3, 3},                                                                     // 2.5
        {3, 3, 600, 1, -1, -1},  // nothing would remain
        {300, 300, 600, 1, 1, 1},        {100, 100, 150, 150, -1, -1},   {100, 100, 150, 0, -1, -1},
        {100, 100, 150, -1, -1, -1},     {100, -100, 300, 150, -1, -1},  {0, 100, 300, 150, -1, -1},
    };
    for (const auto& c : cases) {
        LONG width = -1, height = -1;
        EXPECT_EQ(ScaledSize(c.width, c.height, c.source, c.target, &width, &height), c.new_width != -1);
        EXPECT_TRUE(width == c.new_width && height == c.new_height) << c.width << " from " << c.source;
    }
}

// A gray bitmap whose rows are all `columns`, or whose columns are all `rows`.
Bytes averaged(const Bytes& levels, LONG source, LONG target, bool vertical) {
    const auto side = static_cast<LONG>(levels.size());
    Dib dib(side, side, 8, gray_ramp());
    for (LONG i = 0; i < side * side; ++i) {
        dib.set(i % side, i / side, levels[static_cast<size_t>(vertical ? i / side : i % side)]);
    }
    PackedDib result;
    EXPECT_TRUE(DownsampleDib(dib.view(), source, target, result));
    Bytes means;
    for (LONG i = 0; i < (vertical ? result.header().biHeight : result.header().biWidth); ++i) {
        means.push_back(static_cast<BYTE>(pixel_of(result.view(), vertical ? 0 : i, vertical ? i : 0)));
    }
    return means;
}

TEST_F(PrepareTest, AveragesWithTheWeightsOfCutPixels) {
    struct {
        Bytes levels;
        LONG source, target;
        Bytes means;
    } static const cases[] = {
        // 2 to 1: pairs, rounded.
        {{10, 20, 31, 30}, 2, 1, {15, 31}},
        // 6 to 4: weights 16 8 | 8 16 | 16 8 | 8 16.
        {{0, 240, 30, 90, 255, 0}, 3, 2, {80, 100, 145, 85}},
        // 5 to 3: 16 11 | 5 16 5 | 11 16, as 10.67 and 5.33 are rounded.
        {{0, 90, 180, 90, 0}, 5, 3, {37, 145, 37}},
        // 7 to 4 (of 3.89): 16 12 | 4 16 8 | 8 16 4 | 12 16.
        {{100, 0, 0, 200, 0, 0, 100}, 9, 5, {57, 57, 57, 57}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(averaged(c.levels, c.source, c.target, false), c.means);
        EXPECT_EQ(averaged(c.levels, c.source, c.target, true), c.means);
    }
    // At a corner the weights multiply: 8 x 8 of 24 x 24 is a ninth.
    Dib dib(6, 6, 8, gray_ramp());
    dib.set(1, 1, 252);
    PackedDib result;
    ASSERT_TRUE(DownsampleDib(dib.view(), 3, 2, result));
    EXPECT_TRUE(pixel_of(result.view(), 0, 0) == 28 && pixel_of(result.view(), 1, 1) == 28);
    EXPECT_TRUE(pixel_of(result.view(), 2, 0) == 0 && pixel_of(result.view(), 0, 2) == 0);
}

// The weight that source pixel `at` has in output pixel i of `to`, when `from` pixels become `to`.
int weight_of(LONG at, LONG i, LONG from, LONG to, int scale) {
    const LONG begin = i * from, end = begin + from;  // in units of 1 / to
    if (at < begin / to || at * to >= end) return 0;
    if (at * to < begin) return MulDiv(scale, to - begin % to, to);
    if ((at + 1) * to > end) return MulDiv(scale, end % to, to);
    return scale;
}

// The mean of one channel of colour, before rounding.
double mean_of(const DibView& dib, const BITMAPINFOHEADER& result, LONG i, LONG j, int shift, int scale) {
    const LONG width = dib.header->biWidth, height = dib.header->biHeight;
    int64_t sum = 0, weights = 0;
    for (LONG y = j * height / result.biHeight; y < height; ++y) {
        const int row = weight_of(y, j, height, result.biHeight, scale);
        if (y > (j + 1) * height / result.biHeight) break;
        for (LONG x = i * width / result.biWidth; x < width && x <= (i + 1) * width / result.biWidth; ++x) {
            const int weight = row * weight_of(x, i, width, result.biWidth, scale);
            sum += int64_t{weight} * (color_of(dib, x, y) >> shift & 0xFF);
            weights += weight;
        }
    }
    return static_cast<double>(sum) / static_cast<double>(weights);
}

TEST_F(PrepareTest, AveragesEveryDepthAtEveryRatio) {
    struct {
        WORD bits;
        DWORD compression;
        WORD reduced = 24;
    } static const layouts[] = {{4, BI_RGB},        {8, BI_RGB},        {16, BI_RGB},       {24, BI_RGB},  {32, BI_RGB},
                                {16, BI_BITFIELDS}, {24, BI_BITFIELDS}, {32, BI_BITFIELDS}, {8, BI_RGB, 8}};
    static constexpr struct {
        LONG width, height, source, target;
    } kRatios[] = {{97, 61, 600, 300},   {61, 97, 300, 175},  {80, 80, 1200, 150}, {90, 77, 7, 6},
                   {400, 300, 2400, 72}, {97, 61, 16, 15},    {600, 43, 31, 10},   {1030, 900, 2, 1},
                   {97, 61, 400, 10},    {1030, 900, 400, 10}};
    Random random(4);
    int compared = 0;
    for (const auto& layout : layouts) {
        for (const auto& ratio : kRatios) {
            Dib dib = noise(ratio.width, ratio.height, layout.bits, layout.compression, random);
            if (layout.reduced == 8) std::ranges::copy(gray_ramp(), dib.table());
            LONG width, height;
            ASSERT_TRUE(ScaledSize(ratio.width, ratio.height, ratio.source, ratio.target, &width, &height));
            const BITMAPINFOHEADER expected = dib_header(width, height, layout.reduced);
            PackedDib result;
            ASSERT_EQ(DownsampleDib(dib.view(), ratio.source, ratio.target, result),
                      dib_size(expected) < dib_size(dib.header()));
            if (!result) continue;
            ASSERT_EQ(std::memcmp(&result.header(), &expected, sizeof expected), 0);
            if (layout.reduced == 8) {
                ASSERT_TRUE(std::ranges::equal(gray_ramp(), std::span(result.table(), 256)));
            }
            // Every pixel of small results, some of large ones.
            for (LONG i = 0; i < width * height; i += 1 + width * height / 3000) {
                const DWORD mean = color_of(result.view(), i % width, i / width);
                for (int shift : {0, 8, 16}) {
                    const double exact = mean_of(dib.view(), expected, i % width, i / width, shift, 16);
                    ASSERT_NEAR(mean >> shift & 0xFF, exact, 0.5 + 1e-9)
                        << layout.bits << ", " << layout.compression << ": " << ratio.width;
                    ++compared;
                }
            }
        }
    }
    EXPECT_GT(compared, 100000);
}

TEST_F(PrepareTest, KeepsAlphaWhereItCounts) {
    Dib dib(4, 4, 32);
    for (LONG i = 0; i < 16; ++i) dib.set(i % 4, i / 4, i % 2 ? 0x80402010 : 0x00000000);
    PackedDib result;
    ASSERT_TRUE(DownsampleDib(dib.view(), 2, 1, result, Alpha::Keep));
    EXPECT_TRUE(result.header().biBitCount == 32 && result.header().biCompression == BI_RGB);
    EXPECT_EQ(pixel_of(result.view(), 1, 1), 0x40201008u);
    // Red first: what is left of the masks is alpha.
    Dib fields = masked(4, 4, 32);
    for (LONG i = 0; i < 16; ++i) fields.set(i % 4, i / 4, 0x80402010);
    ASSERT_TRUE(DownsampleDib(fields.view(), 2, 1, result, Alpha::Keep));
    EXPECT_EQ(result.header().biCompression, BI_BITFIELDS);
    EXPECT_EQ(std::vector<DWORD>(result.table(), result.table() + 3), (std::vector<DWORD>{0xFF0000, 0xFF00, 0xFF}));
    EXPECT_EQ(pixel_of(result.view(), 0, 0), 0x80102040u);
    ASSERT_TRUE(DownsampleDib(fields.view(), 2, 1, result));
    EXPECT_EQ(result.header().biBitCount, 24);
    // Masks in the order of bitmaps without.
    const DWORD usual[] = {0xFF0000, 0xFF00, 0xFF};
    std::ranges::copy(usual, fields.table());
    ASSERT_TRUE(DownsampleDib(fields.view(), 2, 1, result, Alpha::Keep));
    EXPECT_EQ(pixel_of(result.view(), 0, 0), 0x80402010u);
    ASSERT_TRUE(DownsampleDib(fields.view(), 2, 1, result));
    EXPECT_EQ(pixel_of(result.view(), 1, 1), 0x402010u);
}

TEST_F(PrepareTest, LeavesOtherLayoutsAlone) {
    for (auto [height, compression] : {std::pair{-300, BI_RGB}, std::pair{300, BI_RLE8}}) {
        Dib dib(400, height, 24);
        dib.header().biCompression = compression;
        PackedDib result;
        EXPECT_FALSE(DownsampleDib(dib.view(), 600, 150, result) || result);
    }
}

PrivateDevMode settings_of(WORD compression, WORD limit, WORD mono_limit) {
    PrivateDevMode settings = {};
    settings.Compression = compression;
    settings.ResDownSamp = limit;
    settings.ResDownSampMono = mono_limit;
    return settings;
}

TEST_F(PrepareTest, PreparesAsTheSettingsAsk) {
    Random random(8);
    Dib photo = Dib::noise(1200, 900, 24, random);
    Dib two_colors = of_colors(1200, 900, 24, 2, random);
    Dib mono = Dib::noise(1200, 900, 1, random);
    Dib evens = Dib::noise(1200, 900, 24, random);  // many colours, of which each pair averages to gray
    for (LONG i = 0; i < 1200 * 900; i += 2) {
        evens.set(i % 1200 + 1, i / 1200, ~pixel_of(evens.view(), i % 1200, i / 1200));
    }
    constexpr WORD kReduce = kCompressReduceColors, kColor = kCompressDownsample, kMono = kCompressDownsampleMono;
    struct {
        const Dib& source;
        WORD compression, limit, mono_limit;
        LONG resolution, width;
        WORD bits;
    } const cases[] = {
        {photo, kColor, 150, 300, 600, 300, 24},
        {photo, kColor, 150, 300, 0, 1200, 24},  // not known
        {photo, kColor, 150, 300, 150, 1200, 24},
        {photo, kColor, 0, 300, 600, 1200, 24},
        {photo, kColor, 1, 300, 600, 2, 24},
        {photo, kMono | kReduce, 150, 300, 600, 1200, 24},
        {mono, kMono, 150, 300, 600, 600, 1},
        {mono, kColor, 150, 300, 600, 1200, 1},
        {two_colors, kReduce, 150, 300, 600, 1200, 1},
        {two_colors, kReduce | kColor, 150, 300, 600, 300, 1},  // its depth was 24 when it came
        {evens, kReduce | kColor, 150, 300, 600, 300, 1},       // reduced once more
        {two_colors, kReduce | kMono, 150, 300, 600, 1200, 1},
        {two_colors, kColor, 150, 300, 600, 300, 24},
        {two_colors, 0, 150, 300, 600, 1200, 24},
    };
    for (const auto& c : cases) {
        PackedDib block;
        const DibView ready =
            PrepareBitmap(settings_of(c.compression, c.limit, c.mono_limit), c.source.view(), c.resolution, block);
        EXPECT_TRUE(ready.header->biWidth == c.width && ready.header->biBitCount == c.bits) << &c - cases;
        EXPECT_EQ(ready.bits == c.source.view().bits, !block);
    }
}

TEST_F(PrepareTest, LeavesWhatItHasWhenMemoryIsOut) {
    // 32 bits, few colours in a picture that has few even when it is downsampled: all three steps apply.
    Dib source(64, 64, 32);
    for (LONG i = 0; i < 64 * 64; ++i) source.set(i % 64, i / 64, i % 64 < 32 ? 0x102030 : 0x405060);
    const Bytes original = source.all();
    constexpr int kBoth = kCompressReduceColors | kCompressDownsample;
    const auto prepare = [&](WORD compression, PackedDib& block) {
        return all_of(PrepareBitmap(settings_of(compression, 150, 150), source.view(), 600, block));
    };
    std::vector<Bytes> expected;
    for (int compression : {0, int{kCompressReduceColors}, int{kCompressDownsample}, kBoth}) {
        PackedDib block;
        expected.push_back(prepare(static_cast<WORD>(compression), block));
    }
    std::vector<bool> seen(expected.size());
    for (uint64_t n = 1;; ++n) {
        PackedDib block;
        host::clear_failures();
        host::fail_call(host::CallKind::Allocation, n);
        const Bytes prepared = prepare(kBoth, block);
        const auto found = std::ranges::find(expected, prepared);
        ASSERT_TRUE(found != expected.end()) << "call " << n;
        seen[static_cast<size_t>(found - expected.begin())] = true;
        EXPECT_EQ(source.all(), original);
        if (host::calls_made(host::CallKind::Allocation) < n) break;
    }
    host::clear_failures();
    EXPECT_TRUE(seen[1] && seen[3]);
    EXPECT_TRUE(shown().empty());
}

}  // namespace
}  // namespace kv::test
