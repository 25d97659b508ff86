// JPEG encoding: which bitmaps, with which parameters, and what the library's decoder reads back.

#include <algorithm>
#include <cmath>

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

struct Decoded {
    DWORD width = 0, height = 0;
    int components = 0, vertical_sampling = 0, density_unit = 0, x_density = 0, y_density = 0;
    bool baseline = false;
    DWORD first_quantizer = 0;
    Bytes samples;  // top row first, gray or red, green, blue
};

Decoded decode(const Bytes& stream) {
    jpeg_decompress_struct jpeg;
    jpeg_error_mgr errors;  // its error_exit ends the test program, with a message
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&jpeg);
    jpeg_mem_src(&jpeg, stream.data(), stream.size());
    jpeg_read_header(&jpeg, TRUE);
    jpeg_start_decompress(&jpeg);
    Decoded image = {jpeg.output_width,
                     jpeg.output_height,
                     jpeg.num_components,
                     jpeg.max_v_samp_factor,
                     jpeg.density_unit,
                     jpeg.X_density,
                     jpeg.Y_density,
                     !jpeg.progressive_mode && !jpeg.arith_code,
                     jpeg.quant_tbl_ptrs[0]->quantval[0],
                     {}};
    const size_t row = size_t{jpeg.output_width} * static_cast<size_t>(jpeg.output_components);
    image.samples.resize(row * jpeg.output_height);
    while (jpeg.output_scanline < jpeg.output_height) {
        JSAMPROW at = image.samples.data() + row * jpeg.output_scanline;
        jpeg_read_scanlines(&jpeg, &at, 1);
    }
    EXPECT_EQ(errors.num_warnings, 0);
    jpeg_finish_decompress(&jpeg);
    jpeg_destroy_decompress(&jpeg);
    return image;
}

// What a decoder should find, top row first.
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

double psnr(const Bytes& a, const Bytes& b) {
    double squares = 1e-9;
    for (size_t i = 0; i < a.size(); ++i) squares += (a[i] - b[i]) * (a[i] - b[i]);
    return 10 * std::log10(255.0 * 255.0 * static_cast<double>(a.size()) / squares);
}

// Slow changes, as in a photograph, with the top and the sides apart.
Dib photograph(LONG width, LONG height, WORD bits) {
    Dib dib(width, height, bits, bits == 8 ? gray_ramp() : std::vector<DWORD>{});
    for (LONG y = 0; y < height; ++y) {
        for (LONG x = 0; x < width; ++x) {
            const auto level = [&](double a, double b) {
                return static_cast<DWORD>(128 + 60 * std::sin(a * x + b) + 60 * std::cos(b * y - a));
            };
            const DWORD first = level(0.05, 0.03);
            dib.set(x, y, bits == 8 ? first : first | level(0.02, 0.04) << 8 | level(0.03, 0.01) << 16);
        }
    }
    return dib;
}

Bytes encode(const DibView& dib, int quality) {
    CGlobalObj stream;
    EXPECT_TRUE(CompressDibToJpeg(dib, quality, stream));
    return Bytes(stream.data(), stream.data() + stream.used());
}

// Photographs come back much as they were; noise, which shows every sample, is the stream of the plain library.
TEST(Jpeg, IsReadBackAtAllWidths) {
    Random random(5);
    for (WORD bits : {WORD{8}, WORD{24}}) {
        for (LONG width = 1; width <= 600; ++width) {
            const LONG height = 1 + width % 20;
            const Dib photo = photograph(width, height, bits);
            const Bytes stream = encode(photo.view(), 90);
            const Decoded image = decode(stream);
            ASSERT_TRUE(image.width == static_cast<DWORD>(width) && image.height == static_cast<DWORD>(height));
            ASSERT_EQ(image.components, bits == 8 ? 1 : 3);
            ASSERT_GT(psnr(image.samples, samples_of(photo.view())), bits == 8 ? 38 : 34) << width << ", " << bits;
            const Dib noise =
                bits == 8 ? Dib::gray_noise(width, height, random) : Dib::noise(width, height, bits, random);
            ASSERT_EQ(encode(noise.view(), 75), plain_jpeg(samples_of(noise.view()), static_cast<unsigned>(width),
                                                           static_cast<unsigned>(height), bits == 8, 75));
        }
    }
}

TEST(Jpeg, IsBaselineWithTheQualityAsked) {
    Dib dib = photograph(100, 80, 24);
    // The standard luminance table begins with 16; quality 75 halves it, 100 makes it 1, and 0 counts as 1: 16 x 50,
    // as baseline allows no more than 255.
    const std::pair<int, DWORD> cases[] = {{75, 8}, {100, 1}, {0, 255}, {50, 16}};
    for (auto [quality, quantizer] : cases) {
        const Bytes stream = encode(dib.view(), quality);
        const Decoded image = decode(stream);
        EXPECT_TRUE(image.baseline && image.vertical_sampling == 2 && image.components == 3);
        EXPECT_EQ(image.first_quantizer, quantizer) << quality;
    }
}

TEST(Jpeg, TellsTheResolution) {
    struct {
        LONG x, y;
        int unit, x_density, y_density;
    } static const cases[] = {{11811, 5999, 2, 118, 59}, {0, 11811, 0, 1, 1}, {11811, -1, 0, 1, 1}, {99, 1, 2, 0, 0}};
    for (const auto& c : cases) {
        Dib dib = photograph(40, 40, 24);
        dib.header().biXPelsPerMeter = c.x;
        dib.header().biYPelsPerMeter = c.y;
        const Bytes stream = encode(dib.view(), 75);
        // The unit and both densities stand 13 bytes into the stream.
        const Bytes expected =
            BytesBuilder()
                .u8({c.unit, c.x_density >> 8, c.x_density & 0xFF, c.y_density >> 8, c.y_density & 0xFF})
                .bytes;
        EXPECT_EQ(Bytes(stream.begin() + 13, stream.begin() + 18), expected) << c.x << ", " << c.y;
    }
}

TEST(Jpeg, TakesTablesThatAreNotGrayAndOtherHeaders) {
    std::vector<DWORD> table(256, 0x00FF0000);  // red, which is a luminance of 76
    Dib red(40, 40, 8, table);
    const Bytes stream = encode(red.view(), 100);
    EXPECT_EQ(decode(stream).samples, Bytes(1600, 76));

    Dib photo = photograph(41, 30, 24);
    const Bytes core = BytesBuilder().u32({12}).u16({41, 30, 1, 24}).bytes;
    std::vector<DWORD> long_header(16);
    std::memcpy(long_header.data(), photo.view().header, 40);
    long_header[0] = 64;
    for (const void* header : {static_cast<const void*>(core.data()), static_cast<const void*>(long_header.data())}) {
        const DibView view = {static_cast<const BITMAPINFOHEADER*>(header), photo.view().bits};
        EXPECT_EQ(encode(view, 75), encode(photo.view(), 75));
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

using JpegFile = HostTest;

TEST_F(JpegFile, AppendsTheStreamOrNothing) {
    Random random(3);
    Dib dib = Dib::noise(300, 300, 24, random);  // more than one step of the buffer
    ObjectPtr<File> file(NewFile(TEXT("C:\\Windows\\Temp\\a.kv"), kFileReadWrite | kFileCreate));
    ASSERT_TRUE(file && file->Write("head", 4));
    DWORD written = 1, size = 0;
    uint64_t n = 1;
    for (;; ++n) {
        host::clear_failures();
        host::fail_call(host::CallKind::Allocation, n);
        if (WriteJpegBitmap(dib.view(), 90, *file, &written)) break;
        EXPECT_EQ(written, 0u);
        EXPECT_EQ(file->GetSize(), 4);
    }
    EXPECT_GT(n, 2u);
    host::clear_failures();
    CGlobalObj stream;
    ASSERT_TRUE(CompressDibToJpeg(dib.view(), 90, stream));
    EXPECT_EQ(written, stream.used());
    Bytes bytes(written);
    EXPECT_TRUE(file->Seek(4) && file->Read(bytes.data(), written, &size) && size == written);
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), stream.data()));

    host::fail_call(host::CallKind::File, 1);
    EXPECT_FALSE(WriteJpegBitmap(dib.view(), 90, *file, &written));
    EXPECT_EQ(written, 0u);
    host::clear_failures();
    EXPECT_TRUE(file->CloseAndDelete(TRUE));
    EXPECT_FALSE(WriteJpegBitmap(dib.view(), 90, *file, &written));
}

}  // namespace
}  // namespace kv::test
