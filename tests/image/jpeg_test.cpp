// JPEG encoding: which bitmaps, with which parameters, and the stream that the plain library makes of the same samples.

#include <algorithm>

#include "image/encoding.h"
#include "support/memory.h"
#include "tests/common/host_test.h"
#include "tests/common/plain_jpeg.h"
#include "tests/image/dibs.h"

namespace kv::test {
namespace {

PrivateDevMode settings_with(WORD compression) {
    PrivateDevMode settings = {};
    settings.Compression = compression;
    return settings;
}

TEST(SelectBitmapEncoding, GoesByDepthSizeTableAndSettings) {
    const std::vector<DWORD> gray = gray_ramp();
    std::vector<DWORD> tinted = gray, marked = gray;
    tinted[255] = 0xFFFFFE;
    marked[0] = 0x01000000;  // compared as 32 bits
    constexpr WORD kBoth = kCompressJpeg | kCompressRunLength;
    struct {
        LONG width, height;
        WORD bits;
        std::vector<DWORD> table;
        DWORD compression;
        WORD settings;
        BitmapEncoding encoding;
    } const cases[] = {
        {16, 10, 24, {}, BI_RGB, kBoth, BitmapEncoding::Plain},  // 480 bytes
        {16, 21, 24, {}, BI_RGB, kBoth, BitmapEncoding::Plain},  // 1008 bytes
        {16, 22, 24, {}, BI_RGB, kBoth, BitmapEncoding::Jpeg},
        {16, 22, 24, {}, BI_RGB, kCompressRunLength, BitmapEncoding::Plain},
        {16, 22, 24, {}, BI_BITFIELDS, kBoth, BitmapEncoding::Plain},
        {16, -22, 24, {}, BI_RGB, kBoth, BitmapEncoding::Plain},  // top-down
        {65500, 1, 24, {}, BI_RGB, kBoth, BitmapEncoding::Jpeg},
        {65501, 1, 24, {}, BI_RGB, kBoth, BitmapEncoding::Plain},  // more than the library takes
        {1, 65501, 24, {}, BI_RGB, kBoth, BitmapEncoding::Plain},
        {16, 22, 32, {}, BI_RGB, kBoth, BitmapEncoding::Plain},
        {32, 32, 8, gray, BI_RGB, kBoth, BitmapEncoding::Jpeg},
        {32, 31, 8, gray, BI_RGB, kBoth, BitmapEncoding::Rle8},
        {32, 32, 8, gray, BI_RGB, kCompressRunLength, BitmapEncoding::Rle8},
        {32, 32, 8, gray, BI_RGB, 0, BitmapEncoding::Plain},
        {32, 32, 8, tinted, BI_RGB, kBoth, BitmapEncoding::Rle8},
        {32, 32, 8, marked, BI_RGB, kBoth, BitmapEncoding::Rle8},
        {32, 32, 8, tinted, BI_RGB, kCompressJpeg, BitmapEncoding::Plain},
        {32, -32, 8, gray, BI_RGB, kBoth, BitmapEncoding::Rle8},
        {11, 4, 8, tinted, BI_RGB, kBoth, BitmapEncoding::Rle8},
        {10, 4, 8, tinted, BI_RGB, kBoth, BitmapEncoding::Plain},
        {32, 32, 8, gray, BI_RLE8, kBoth, BitmapEncoding::Plain},
        {21, 4, 4, {}, BI_RGB, kBoth, BitmapEncoding::Rle4},
        {20, 4, 4, {}, BI_RGB, kBoth, BitmapEncoding::Plain},
        {400, 4, 1, {}, BI_RGB, kBoth, BitmapEncoding::Plain},
    };
    for (const auto& c : cases) {
        Dib dib(c.width, c.height, c.bits, c.table);
        dib.header().biCompression = c.compression;
        EXPECT_EQ(SelectBitmapEncoding(settings_with(c.settings), dib.view()), c.encoding)
            << c.width << " x " << c.height << ", " << c.bits << " bits, settings " << c.settings;
    }
}

// Top row first, gray or red, green, blue.
Bytes samples_of(const DibView& dib) {
    Bytes samples;
    for (LONG row = dib.header->biHeight - 1; row >= 0; --row) {
        for (LONG x = 0; x < dib.header->biWidth; ++x) {
            const DWORD pixel = pixel_of(dib, x, row);
            if (dib.header->biBitCount == 24) {
                samples.push_back(static_cast<BYTE>(pixel >> 16));
                samples.push_back(static_cast<BYTE>(pixel >> 8));
            }
            samples.push_back(static_cast<BYTE>(pixel));
        }
    }
    return samples;
}

Bytes encode(const DibView& dib, int quality) {
    CGlobalObj stream;
    EXPECT_TRUE(CompressDibToJpeg(dib, quality, stream));
    return Bytes(stream.data(), stream.data() + stream.used());
}

// Noise shows every sample.
TEST(Jpeg, IsTheStreamOfThePlainLibraryAtAllWidths) {
    Random random(5);
    for (LONG width = 1; width <= 600; ++width) {
        const LONG height = 1 + width % 20;
        for (const Dib& dib : {Dib::gray_noise(width, height, random), Dib::noise(width, height, 24, random)}) {
            const bool gray = dib.view().header->biBitCount == 8;
            ASSERT_EQ(encode(dib.view(), 90), plain_jpeg(samples_of(dib.view()), static_cast<unsigned>(width),
                                                         static_cast<unsigned>(height), gray, 90));
        }
    }
}

TEST(Jpeg, IsBaselineWithTheQualityAsked) {
    // The standard luminance table begins with 16; quality 75 halves it, 100 makes it 1, and 0 counts as 1: 16 x 50,
    // as baseline allows no more than 255.
    const std::pair<int, BYTE> cases[] = {{75, 8}, {100, 1}, {0, 255}, {50, 16}};
    for (auto [quality, quantizer] : cases) {
        const Bytes stream = encode(Dib(100, 80, 24).view(), quality);
        EXPECT_EQ(stream[25], quantizer) << quality;
        // Behind SOI, APP0 and two tables of 69 bytes: a baseline frame of 8 bits, 80 x 100, of three components, the
        // first at twice the samples each way.
        EXPECT_EQ(Bytes(&stream[158], &stream[177]),
                  from_hex("FF C0 00 11 08 00 50 00 64 03 01 22 00 02 11 01 03 11 01"));
    }
}

TEST(Jpeg, TellsTheResolution) {
    // The unit, 2 for dots per centimetre, and both densities, the high bytes first, stand 13 bytes into the stream.
    struct {
        LONG x, y;
        const char* expected;
    } static const cases[] = {{11811, 5999, "02 00 76 00 3B"},
                              {0, 11811, "00 00 01 00 01"},
                              {11811, -1, "00 00 01 00 01"},
                              {99, 1, "02 00 00 00 00"}};
    for (const auto& c : cases) {
        Dib dib(40, 40, 24);
        dib.header().biXPelsPerMeter = c.x;
        dib.header().biYPelsPerMeter = c.y;
        const Bytes stream = encode(dib.view(), 75);
        EXPECT_EQ(Bytes(&stream[13], &stream[18]), from_hex(c.expected)) << c.x << ", " << c.y;
    }
}

TEST(Jpeg, TakesTablesThatAreNotGrayAndOtherHeaders) {
    const Dib red(40, 40, 8, std::vector<DWORD>(256, 0x00FF0000));  // a luminance of 76
    EXPECT_EQ(encode(red.view(), 100), plain_jpeg(Bytes(1600, 76), 40, 40, true, 100));

    Random random(6);
    const Dib noise = Dib::noise(41, 30, 24, random);
    const Bytes core = BytesBuilder().u32({12}).u16({41, 30, 1, 24}).bytes;
    std::vector<DWORD> long_header(16);
    std::memcpy(long_header.data(), noise.view().header, 40);
    long_header[0] = 64;
    for (const void* header : {static_cast<const void*>(core.data()), static_cast<const void*>(long_header.data())}) {
        const DibView view = {static_cast<const BITMAPINFOHEADER*>(header), noise.view().bits};
        EXPECT_EQ(encode(view, 75), encode(noise.view(), 75));
    }
}

TEST(Jpeg, RefusesWhatItCannotRead) {
    static constexpr struct {
        DWORD size;
        LONG width, height;
        WORD bits;
        DWORD compression;
    } kCases[] = {{40, 40, 40, 32, BI_RGB},  {40, 40, 40, 4, BI_RGB},   {40, 40, 40, 24, BI_BITFIELDS},
                  {40, 40, 40, 24, BI_RLE8}, {124, 40, 40, 24, BI_RGB}, {40, 40, -40, 24, BI_RGB},
                  {40, 40, 0, 24, BI_RGB},   {40, 0, 40, 24, BI_RGB},   {40, 65501, 40, 24, BI_RGB}};
    for (const auto& c : kCases) {
        Dib dib(65501, 40, 24);
        dib.header() = {c.size, c.width, c.height, 1, c.bits, c.compression, 0, 0, 0, 0, 0};
        CGlobalObj stream;
        EXPECT_FALSE(CompressDibToJpeg(dib.view(), 75, stream) || stream.data()) << &c - kCases;
    }
}

using JpegMemory = HostTest;

TEST_F(JpegMemory, IsAllOrNothing) {
    Random random(3);
    Dib dib = Dib::noise(300, 300, 24, random);  // more than one step of the buffer
    CGlobalObj stream;
    uint64_t n = 1;
    for (;; ++n) {
        host::clear_failures();
        host::fail_call(host::CallKind::Allocation, n);
        if (CompressDibToJpeg(dib.view(), 90, stream)) break;
        EXPECT_FALSE(stream.data());
    }
    EXPECT_GT(n, 2u);
    host::clear_failures();
    EXPECT_EQ(Bytes(stream.data(), stream.data() + stream.used()), encode(dib.view(), 90));
}

}  // namespace
}  // namespace kv::test
