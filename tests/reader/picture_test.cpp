#include "reader/picture.h"

#include <gtest/gtest.h>

#include <numeric>

#include "reader/jpeg_reader.h"
#include "tests/common/job_builder.h"

namespace kvjob::test {
namespace {

using kv::test::from_hex;

using Pixels = std::vector<uint32_t>;

Pixels pixels_of(const Picture& picture) {
    Pixels all;
    picture.read([&](int32_t, Picture::Row row) { all.insert(all.end(), row.begin(), row.end()); });
    return all;
}
Pixels pixels_of(const Buffer& packed, RunLengthOrigin origin = RunLengthOrigin::Elsewhere) {
    return pixels_of(Picture::of_bitmap(packed, origin));
}

std::string fault_of(const Buffer& packed, RunLengthOrigin origin = RunLengthOrigin::Elsewhere) {
    try {
        pixels_of(packed, origin);
    } catch (const BodyFault& fault) {
        return fault.what();
    }
    return "none";
}

constexpr uint32_t kA = 0xFF000000;

TEST(PictureTest, RowsOfEveryDepthComeFromTheTop) {
    // the row that stands first is the lower one
    EXPECT_EQ(pixels_of(packed_bitmap(3, 2, 1, {0x111111, 0x222222}, {0xA0, 9, 9, 9, 0x5F, 0, 0, 0})),
              (Pixels{kA | 0x111111, kA | 0x222222, kA | 0x111111, kA | 0x222222, kA | 0x111111, kA | 0x222222}));
    std::vector<uint32_t> table(16);
    table[1] = 0x010203, table[0xF] = 0xF0F1F2;
    EXPECT_EQ(pixels_of(packed_bitmap(3, 1, 4, table, {0x1F, 0x10, 0, 0})),
              (Pixels{kA | 0x010203, kA | 0xF0F1F2, kA | 0x010203}));
    table.resize(256);
    table[200] = 0xC8C8C8;
    EXPECT_EQ(pixels_of(packed_bitmap(2, 1, 8, table, {200, 1, 0, 0})), (Pixels{kA | 0xC8C8C8, kA | 0x010203}));
    // 5 bits a channel: 31 is 255, 16 is 132 (131.6); the top bit counts for nothing
    EXPECT_EQ(pixels_of(packed_bitmap(2, 1, 16, {}, Body().u16({0x7C10, 0x83E0}))),
              (Pixels{kA | 0xFF0084, kA | 0x00FF00}));
    EXPECT_EQ(pixels_of(packed_bitmap(1, 2, 24, {}, {3, 2, 1, 0, 6, 5, 4, 0})), (Pixels{kA | 0x040506, kA | 0x010203}));
    EXPECT_EQ(pixels_of(packed_bitmap(1, 1, 32, {}, Body().u32({0x80010203}))), (Pixels{0x80010203}));
}

TEST(PictureTest, MasksSayWhereTheChannelsLie) {
    // 5-6-5: 63 of 63 is 255, 32 of 63 is 130 (129.5)
    EXPECT_EQ(pixels_of(packed_bitmap(2, 1, 16, {0xF800, 0x07E0, 0x001F}, Body().u16({0xF800, 0x0400}), 3)),
              (Pixels{kA | 0xFF0000, kA | 0x008200}));
    // red and blue exchanged, alpha in the byte that is left
    EXPECT_EQ(pixels_of(packed_bitmap(1, 1, 32, {0xFF, 0xFF00, 0xFF0000}, Body().u32({0x80030201}), 3)),
              (Pixels{0x80010203}));
}

TEST(PictureTest, HeadersThatDoNotFitTheirBytesAreRefused) {
    const std::pair<Buffer, const char*> cases[] = {
        {packed_bitmap(1, 1, 24, {}, Buffer(5)), "bitmap: size does not match the length"},
        {packed_bitmap(1, 1, 24, {}, Buffer(8)), "bitmap: size does not match the length"},
        {packed_bitmap(0, 1, 24, {}, {}), "bitmap: without an area"},
        {packed_bitmap(0x7FFFFFFF, 0x7FFFFFFF, 32, {}, Buffer(4)), "bitmap: size does not match the length"},
        {packed_bitmap(1, 1, 2, {}, Buffer(4)), "bitmap: 2 bits a pixel"},
        {packed_bitmap(1, 1, 24, {}, Buffer(4), 1), "bitmap: compression 1 of 24 bits"},
        {packed_bitmap(1, 1, 1, {0, 0x01FFFFFF}, Buffer(4)), "bitmap: colour table with a fourth byte"},
        {{40, 0, 0, 0}, "body ends too early"},
        {packed_bitmap(1, 1, 16, {0xF800, 0x0FE0, 0x001F}, Buffer(4), 3), "bitmap: colour masks are no fields"},
        {packed_bitmap(1, 1, 16, {0xF800, 0x0500, 0x001F}, Buffer(4), 3), "bitmap: colour masks are no fields"},
    };
    for (const auto& [bitmap, fault] : cases) EXPECT_EQ(fault_of(bitmap), fault);
}

// Colours are their own numbers.
Buffer rle(int bits, int width, int height, const char* data) {
    std::vector<uint32_t> table(size_t{1} << bits);
    std::iota(table.begin(), table.end(), 0u);
    return packed_bitmap(width, height, bits, table, from_hex(data), bits == 8 ? 1 : 2);
}
Pixels opaque(Pixels colours) {
    for (uint32_t& colour : colours) colour |= kA;
    return colours;
}

TEST(PictureTest, RunLengthRowsOfTheDriver) {
    const auto driver = RunLengthOrigin::Driver;
    // lower row: four times 7; upper row: 1 2 3 as a literal with its pad, then 9
    EXPECT_EQ(pixels_of(rle(8, 4, 2, "0407 0000 0003010203 00 0109 0000 0001"), driver),
              opaque({1, 2, 3, 9, 7, 7, 7, 7}));
    // five pixels: a run of the byte AB, cut to the odd width; a literal of five pixels in three bytes
    EXPECT_EQ(pixels_of(rle(4, 5, 2, "05AB 0000 0005123450 00 0000 0001"), driver),
              opaque({1, 2, 3, 4, 5, 10, 11, 10, 11, 10}));
    const std::tuple<int, const char*, const char*> faults[] = {
        {4, "0307 0000 0001", "run-length data: a row ends before its last pixel"},
        {4, "0407 0001", "run-length data: ends before the last row"},
        {4, "0507 0000 0001", "run-length data: pixels beyond the row"},
        {3, "0003010203 08 0000 0001", "run-length data: a pad byte that is not 0"},
        {4, "0407 00020000 0001", "run-length data: a move"},
        {4, "0407 0000 0001 00", "1 bytes after the body"},
        {4, "0407 0000", "body ends too early"},
    };
    for (const auto& [width, data, fault] : faults) EXPECT_EQ(fault_of(rle(8, width, 1, data), driver), fault);
    EXPECT_EQ(fault_of(rle(8, 60000, 60000, "0407 0000 0001"), driver), "run-length data: cannot hold the bitmap");
}

TEST(PictureTest, RunLengthRowsFromElsewhereMayLeaveOutPixels) {
    // one pixel, then a move by two to the right and one up, one pixel, end
    EXPECT_EQ(pixels_of(rle(8, 4, 2, "0105 00020201 0106 0001")), opaque({0, 0, 0, 6, 5, 0, 0, 0}));
    EXPECT_EQ(fault_of(rle(8, 4, 2, "00020500 0001")), "run-length data: a move beyond the bitmap");
    EXPECT_EQ(fault_of(rle(8, 4, 1, "0000 0000 0001")), "run-length data: more rows than the bitmap has");
}

TEST(PictureTest, JpegStreams) {
    for (bool grey : {false, true}) {
        const Buffer stream = jpeg_stream(40, 30, grey, 200, 100, 50);
        JpegReader reader(stream);
        EXPECT_EQ(reader.width(), 40);
        EXPECT_EQ(reader.height(), 30);
        EXPECT_EQ(reader.grey(), grey);
        std::vector<uint32_t> row(40);
        for (int y = 0; y < 30; ++y) reader.read_row(row.data());
        EXPECT_EQ(row[39] >> 24, 255u);
        EXPECT_NEAR(static_cast<int>(row[39] >> 16 & 0xFF), 200, 3);
        EXPECT_NEAR(static_cast<int>(row[39] >> 8 & 0xFF), grey ? 200 : 100, 3);
        EXPECT_NO_THROW(reader.finish());
    }
    const Buffer stream = jpeg_stream(40, 30, false, 200, 100, 50);
    const auto read_all = [](Bytes part) {
        JpegReader reader(part);
        std::vector<uint32_t> row(40);
        for (int y = 0; y < 30; ++y) reader.read_row(row.data());
        reader.finish();
    };
    EXPECT_THROW(read_all(Bytes(stream).first(stream.size() - 20)), BodyFault);
    EXPECT_THROW(JpegReader({}), BodyFault);
    EXPECT_THROW(JpegReader(Bytes(stream).subspan(2)), BodyFault);
}

}  // namespace
}  // namespace kvjob::test
