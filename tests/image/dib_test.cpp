// Sizes of packed bitmaps, and headers that no bitmap should have.

#include "image/dib.h"

#include "image/encoding.h"
#include "image/prepare.h"
#include "tests/image/dibs.h"

namespace kv::test {
namespace {

BITMAPINFOHEADER header_of(DWORD size, LONG width, LONG height, WORD bits, DWORD compression = BI_RGB,
                           DWORD image_size = 0) {
    BITMAPINFOHEADER header = dib_header(width, height, bits);
    header.biSize = size;
    header.biCompression = compression;
    header.biSizeImage = image_size;
    return header;
}

TEST(Dib, HasTheSizeOfHeaderTableAndRows) {
    constexpr LONG kMost = 0x7FFFFFFF, kLeast = -kMost - 1;
    struct {
        BITMAPINFOHEADER header;
        uint64_t head, bits;
    } const cases[] = {
        {header_of(40, 1, 1, 1), 48, 4},
        {header_of(40, 33, 5, 1), 48, 40},
        {header_of(40, 8, 3, 4), 104, 12},
        {header_of(40, 9, -3, 4), 104, 24},
        {header_of(40, 5, 2, 8), 1064, 16},
        {header_of(40, 3, 2, 16), 40, 16},
        {header_of(40, 3, 2, 16, BI_BITFIELDS), 52, 16},
        {header_of(108, 3, 2, 16, BI_BITFIELDS), 108, 16},
        {header_of(40, 3, 2, 8, BI_BITFIELDS), 1064, 8},
        {header_of(40, 3, 2, 24), 40, 24},
        {header_of(124, 3, 2, 32), 124, 24},
        {header_of(40, 100, 100, 8, BI_RLE8, 77), 1064, 77},
        {header_of(40, 0, 5, 24), 40, 0},
        {header_of(40, -5, 5, 24), 40, 0},
        {header_of(40, kMost, 1, 32), 40, 0x1FFFFFFFCull},
        {header_of(40, kMost, kLeast, 1), 48, 0x10000000ull << 31},
        {header_of(40, kMost, kMost, 0xFFFF), 40, UINT64_MAX},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(dib_head_size(c.header), c.head) << &c - cases;
        EXPECT_EQ(dib_bits_size(c.header), c.bits) << &c - cases;
    }
}

TEST(Dib, IsOnlyMadeWithPixelsAndWithinTheLargestSize) {
    PackedDib dib;
    ASSERT_TRUE(dib.create(dib_header(3, -5, 24)));
    EXPECT_EQ(Bytes(dib.bits(), dib.bits() + 60), Bytes(60));
    PackedDib copy;
    ASSERT_TRUE(copy.copy(dib.view()));
    EXPECT_EQ(all_of(copy.view()), all_of(dib.view()));
    for (const BITMAPINFOHEADER& header : {header_of(40, 0, 5, 24), header_of(40, 5, 0, 24), header_of(12, 5, 5, 24),
                                           header_of(40, 0x7FFFFFFF, 1, 32)}) {
        EXPECT_FALSE(dib.create(header) || dib);
    }
}

// Whatever the header says, nothing beyond the bitmap is read; each step takes it or leaves it.
TEST(Dib, MayHaveAnyHeader) {
    Random random(9);
    static constexpr DWORD kSizes[] = {0, 12, 39, 40, 41, 44, 52, 56, 64, 108, 124};
    static constexpr DWORD kCompressions[] = {BI_RGB, BI_RGB, BI_RLE8, BI_RLE4, BI_BITFIELDS, 4, 0xFFFFFFFF};
    static constexpr WORD kBits[] = {0, 1, 2, 4, 8, 15, 16, 24, 24, 31, 32, 33, 64, 0xFFFF};
    static constexpr LONG kSides[] = {-0x7FFFFFFF - 1, -40, -1, 0, 1, 2, 3, 7, 33, 100, 1500, 65501, 0x7FFFFFFF};
    const auto any = [&](const auto& list) { return list[random.below(static_cast<DWORD>(std::size(list)))]; };
    host::set_messages_quiet(true);
    int made = 0;
    for (int i = 0; i < 5000; ++i) {
        const BITMAPINFOHEADER header =
            header_of(any(kSizes), any(kSides), any(kSides), any(kBits), any(kCompressions), random.below(3000));
        // The reader of 12-byte headers finds its own fields there, and always a table.
        if (dib_head_size(header) < sizeof header || dib_bits_size(header) > 3000000) continue;
        Dib dib(header);
        for (uint64_t at = sizeof header; at < dib_head_size(header); ++at) {
            reinterpret_cast<BYTE*>(&dib.header())[at] = static_cast<BYTE>(random() % 3 - 1);
        }
        PackedDib result;
        CGlobalObj stream;
        DWORD size;
        made += ReduceColorDepth(dib.view(), result);
        made += DownsampleDib(dib.view(), 4, 1, result, i % 2 ? Alpha::Keep : Alpha::Drop);
        made += IsJpegCandidate(dib.view()) && CompressDibToJpeg(dib.view(), 75, stream);
        if (!has_plain_rows(header) || header.biWidth < 1) continue;
        const auto bytes = static_cast<DWORD>(dib_bits_size(header));
        const auto width = static_cast<DWORD>(header.biWidth), stride = static_cast<DWORD>(dib_stride(header));
        made += EncodeRle8(dib.row(0), bytes, width, stride, nullptr, nullptr, &size);
        made += EncodeRle4(dib.row(0), bytes, width, stride, nullptr, nullptr, &size);
    }
    EXPECT_GT(made, 300);
}

}  // namespace
}  // namespace kv::test
