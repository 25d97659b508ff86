// The records of transfers with a source.

#include <zlib.h>

#include <algorithm>
#include <span>

#include "image/encoding.h"
#include "tests/record/blit_bytes.h"
#include "tests/record/blit_fixture.h"

namespace kv::test {
namespace {

using engine::Bitmap;
using engine::Brush;
using engine::Clip;
using engine::RowOrder;
using engine::Translation;

// Blue low: a red and a green pixel over a blue and a white one.
void paint_four(Bitmap& bitmap) {
    bitmap.set_pixel(0, 0, 0xFF0000);
    bitmap.set_pixel(1, 0, 0x00FF00);
    bitmap.set_pixel(0, 1, 0x0000FF);
    bitmap.set_pixel(1, 1, 0xFFFFFF);
}
const char* kFourPixels = "FF0000 FFFFFF 0000  0000FF 00FF00 0000";

TEST_F(BlitTest, PlainBitmap) {
    Bitmap bitmap(BMF_24BPP, 2, 2);
    paint_four(bitmap);
    BytesBuilder expected = bitmap_head(0xCC, {0, 0, 2, 2}, {10, 20, 12, 22}, 56);
    put_dib_header(expected, 2, 2, 24);
    append(expected, kFourPixels);
    expect_page([&] { return copy(bitmap); }, expected);
    EXPECT_EQ(flags, 0x08);
    EXPECT_EQ(largest_record(), 80u);  // the summary itself
}

TEST_F(BlitTest, EveryHookFindsItsSource) {
    Bitmap bitmap(BMF_24BPP, 4, 4);
    paint_four(bitmap);
    const POINTL at = {0, 0};
    BytesBuilder expected;
    auto expect = [&](int rop, const RECTL& to) {
        const BytesBuilder head = bitmap_head(rop, {0, 0, 2, 2}, to, 56);
        append(expected, head.bytes);
        put_dib_header(expected, 2, 2, 24);
        append(expected, kFourPixels);
    };
    expect(0x88, {0, 0, 2, 2});      // and: reads the page
    expect(0xCC, {30, 40, 20, 60});  // mirrored
    expect(0xCC, {0, 0, 2, 2});
    expected.u8({39, 6, 8, 0, 0xFF, 0, 0, 0x40});
    expect(0xCA, {50, 50, 60, 60});  // with a pattern
    expect_page(
        [&] {
            Brush red = Brush::solid(0xFF0000);
            return device->bit_blt(&bitmap, nullptr, nullptr, nullptr, {0, 0, 2, 2}, &at, &red, 0x8888) &&
                   device->stretch_blt(bitmap, nullptr, nullptr, nullptr, {30, 40, 20, 60}, {0, 0, 2, 2}) &&
                   device->copy_bits(bitmap, nullptr, nullptr, {0, 0, 2, 2}, at) &&
                   device->stretch_blt_rop(bitmap, nullptr, nullptr, nullptr, {50, 50, 60, 60}, {0, 0, 2, 2}, &red,
                                           0xCACA);
        },
        expected);
    EXPECT_EQ(flags, 0x09);
}

// Of an image whose pixels all differ, the part that starts at (1, 2).
TEST_F(BlitTest, ASourcePointIsACorner) {
    Bitmap bitmap(BMF_24BPP, 4, 5);
    for (LONG i = 0; i < 20; ++i) bitmap.set_pixel(i % 4, i / 4, static_cast<ULONG>(i + 1));
    BytesBuilder expected = bitmap_head(0xCC, {0, 0, 2, 2}, {10, 20, 12, 22}, 56);
    put_dib_header(expected, 2, 2, 24);
    append(expected, "0E0000 0F0000 0000  0A0000 0B0000 0000");
    const POINTL corner = {1, 2};
    const RECTL to = {10, 20, 12, 22};
    expect_page([&] { return device->copy_bits(bitmap, nullptr, nullptr, to, corner); }, expected);
    expect_page([&] { return device->bit_blt(&bitmap, nullptr, nullptr, nullptr, to, &corner, nullptr, 0xCCCC); },
                expected);
}

TEST_F(BlitTest, TheClipAndTheInkAreThoseOfTheDestination) {
    Bitmap bitmap(BMF_24BPP, 2, 2);
    Clip clip = Clip::rectangle({0, 0, 25, 60});
    start_page();
    EXPECT_TRUE(device->stretch_blt(bitmap, nullptr, &clip, nullptr, {30, 1200, 20, -60}, {0, 0, 2, 2}));
    EXPECT_TRUE(same_rect(pdevice().page_marks, {20, 0, 30, 1100}));
    end_page_and_document();
    const Bytes page = page_records();
    EXPECT_EQ(to_hex(Bytes(page.begin(), page.begin() + 13)), to_hex(from_hex("0C 08 0000 0000 1900 3C00 12 49 CC")));
}

TEST_F(BlitTest, UnusedColoursAreWrittenAsNothing) {
    // Three pixels of the index `pixel` but for the middle one; bits behind the third do not count.
    const struct {
        ULONG format;
        int bits, entries;
        ULONG pixel, middle;
        const char* row;
    } kCases[] = {
        {BMF_1BPP, 1, 2, 1, 1, "E0000000"},
        {BMF_4BPP, 4, 16, 3, 9, "39300000"},
        {BMF_8BPP, 8, 256, 3, 255, "03FF0300"},
    };
    for (const auto& c : kCases) {
        Bitmap bitmap(c.format, 3, 1);
        for (LONG x : {0, 1, 2}) bitmap.set_pixel(x, 0, x == 1 ? c.middle : c.pixel);
        Translation table(grays(c.entries, 0x0102));
        for (ULONG& color : std::span(table.pulXlate, table.cEntries)) color += 1;
        BytesBuilder expected;
        const int length = 17 + 44 + 4 * c.entries;
        c.bits == 8 ? expected.u8({18, 0xFE}).u16({length}) : expected.u8({18, length});
        expected.u8({0xCC});
        put_rect(expected, {0, 0, 3, 1});
        put_rect(expected, {10, 20, 13, 21});
        put_dib_header(expected, 3, 1, c.bits);
        for (ULONG i = 0; i < static_cast<ULONG>(c.entries); ++i) {
            expected.u32({i == c.pixel || i == c.middle ? i * 0x0102 + 1 : 0});
        }
        append(expected, c.row);
        expect_page([&] { return copy(bitmap, &table); }, expected);
    }
}

TEST_F(BlitTest, WideCoordinates) {
    Bitmap bitmap(BMF_24BPP, 2, 2);
    paint_four(bitmap);
    BytesBuilder expected;
    expected.u8({52, 33 + 56, 0xCC}).u32({0, 0, 2, 2, 32766, 5, 32768, 7});
    put_dib_header(expected, 2, 2, 24);
    append(expected, kFourPixels);
    expect_page([&] { return copy(bitmap, nullptr, 32766, 5); }, expected);
}

TEST_F(BlitTest, RunLengths) {
    set_private(0x08);
    const struct {
        ULONG format;
        int width, bits, entries, compression;
        const char* encoded;  // `width` pixels of index 3
        DWORD size;
    } kCases[] = {{BMF_8BPP, 11, 8, 256, 1, "0B03 0000 0001", 6},
                  {BMF_4BPP, 21, 4, 16, 2, "1233 0003 3330 0000 0001", 10}};
    for (const auto& c : kCases) {
        Bitmap bitmap(c.format, c.width, 1);
        for (LONG x = 0; x < c.width; ++x) bitmap.set_pixel(x, 0, 3);
        Translation colors(grays(c.entries, 0x010000));
        BytesBuilder expected;
        expected.u8({18, 0xFF, 0}).u32({17 + 40 + 4 * c.entries + c.size}).u8({0xCC});
        put_rect(expected, {0, 0, c.width, 1});
        put_rect(expected, {10, 20, 10 + c.width, 21});
        put_dib_header(expected, c.width, 1, c.bits, c.compression, static_cast<int>(c.size));
        for (int i = 0; i < c.entries; ++i) expected.u32({i * 0x010000});
        append(expected, c.encoded);
        expect_page([&] { return copy(bitmap, &colors); }, expected);
        EXPECT_EQ(largest_record(), 17u + 40 + 4 * c.entries + 12);  // as it would be without
    }
    // Longer encoded than not: all pixels differ.
    Bitmap bitmap(BMF_8BPP, 12, 1);
    for (LONG x = 0; x < 12; ++x) bitmap.set_pixel(x, 0, static_cast<ULONG>(x));
    Translation table(grays(256, 0x010000));
    const Bytes page = print([&] { return copy(bitmap, &table); });
    EXPECT_EQ(to_hex(Bytes(page.end() - 18, page.end())), to_hex(from_hex("000C 000102030405060708090A0B 0000 0001")));
    EXPECT_EQ(largest_record(), 17u + 40 + 1024 + 18);
}

TEST_F(BlitTest, Jpeg) {
    set_private(0x01);
    Bitmap bitmap(BMF_24BPP, 32, 16, RowOrder::BottomUp);
    for (LONG i = 0; i < 512; ++i) bitmap.set_pixel(i % 32, i / 32, static_cast<ULONG>(i * 0x10307));
    CGlobalObj stream;
    struct {
        BITMAPINFOHEADER header;
    } head = {{40, 32, 16, 1, 24, 0, 0, 0, 0, 0, 0}};
    ASSERT_TRUE(CompressDibToJpeg({&head.header, static_cast<BYTE*>(bitmap.pvBits)}, 75, stream));
    const Bytes jpeg(stream.data(), stream.data() + stream.used());
    stream.free();

    BytesBuilder expected;
    expected.u8({31, 0xFF, 0}).u32({static_cast<int64_t>(17 + jpeg.size())}).u8({0xCC});
    put_rect(expected, {0, 0, 32, 16});
    put_rect(expected, {10, 20, 42, 36});
    append(expected, jpeg);
    expect_page([&] { return copy(bitmap); }, expected);
    // The statistic grows by the stream; before it stood the header's 8 bytes.
    EXPECT_EQ(largest_record(), 8 + jpeg.size());
    // Its length is known before it is written: no seek ends the buffering of the file.
    start_page();
    host::set_call_log(true);
    EXPECT_TRUE(copy(bitmap) && device->send_page());
    EXPECT_EQ(std::ranges::count(host::call_log(), "SetFilePointer"), 0);
    host::set_call_log(false);
    device->end_document();

    // Wide, and in a transparent blit, where a flag says it.
    const Bytes wide = print([&] { return copy(bitmap, nullptr, 40000, 0); });
    EXPECT_EQ(to_hex(Bytes(wide.begin(), wide.begin() + 3)), to_hex(from_hex("35FF00")));
    const RECTL all = {0, 0, 32, 16};
    const Bytes transparent =
        print([&] { return device->transparent_blt(bitmap, nullptr, nullptr, all, all, 0x123456); });
    expected.bytes.clear();
    expected.u8({59, 0xFF, 0}).u32({static_cast<int64_t>(20 + jpeg.size())}).u8({0x12, 0x34, 0x56, 1});
    put_rect(expected, all);
    put_rect(expected, all);
    append(expected, jpeg);
    EXPECT_EQ(to_hex(transparent), to_hex(expected.bytes));
}

TEST_F(BlitTest, DeflatesPlainBitmapsOnly) {
    set_private(0x10);
    Bitmap bitmap(BMF_24BPP, 16, 5);
    const Bytes page = print([&] { return copy(bitmap); });
    ASSERT_GT(page.size(), 11u);
    EXPECT_EQ(to_hex(Bytes(page.begin(), page.begin() + 3)), to_hex(from_hex("12FF02")));
    const size_t packed = page[3] | page[4] << 8, unpacked = page[7] | page[8] << 8;
    EXPECT_EQ(packed + 11, page.size());
    EXPECT_EQ(unpacked, 17u + 40 + 240);
    Bytes body(unpacked);
    z_stream stream = {};
    ASSERT_EQ(inflateInit2(&stream, -15), Z_OK);
    stream.next_in = const_cast<Bytef*>(&page[11]);
    stream.avail_in = static_cast<uInt>(packed);
    stream.next_out = body.data();
    stream.avail_out = static_cast<uInt>(unpacked);
    EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END);
    inflateEnd(&stream);
    BytesBuilder expected;
    expected.u8({0xCC});
    put_rect(expected, {0, 0, 16, 5});
    put_rect(expected, {10, 20, 26, 25});
    put_dib_header(expected, 16, 5, 24);
    expected.bytes.resize(unpacked);
    EXPECT_EQ(to_hex(body), to_hex(expected.bytes));
    EXPECT_EQ(largest_record(), 80u);  // a deflated record does not count

    // An encoded source keeps its bytes, and counts as its pixels would.
    Bitmap encoded(BMF_8RLE, 500, 2, from_hex("0401 0000 0402 0001"));
    Translation table(grays(256, 1));
    const Bytes kept = print([&] { return copy(encoded, &table); });
    EXPECT_EQ(to_hex(Bytes(kept.begin(), kept.begin() + 4)), to_hex(from_hex("12FE 4104")));  // 17 + 1064 + 8
    EXPECT_EQ(to_hex(Bytes(kept.end() - 8, kept.end())), to_hex(from_hex("0401 0000 0402 0001")));
    EXPECT_EQ(largest_record(), 1064u + 2 * 500 + 33);
}

TEST_F(BlitTest, AlphaBlend) {
    Bitmap bitmap(BMF_32BPP, 1, 1);
    bitmap.set_pixel(0, 0, 0x80FF4020);
    Translation fields(0xFF0000, 0xFF00, 0xFF);
    const RECTL from = {0, 0, 1, 1}, to = {5, 6, 9, 9};
    BytesBuilder expected;
    expected.u8({41, 20 + 56, 0, 0, 255, 1});
    put_rect(expected, from);
    put_rect(expected, to);
    put_dib_header(expected, 1, 1, 32, 3);  // the masks leave the alpha byte out
    expected.u32({0xFF0000, 0xFF00, 0xFF, 0x80FF4020});
    expect_page(
        [&] {
            return device->alpha_blend(bitmap, nullptr, &fields, to, from, {0, 0, 255, AC_SRC_ALPHA});
        },
        expected);
    EXPECT_EQ(flags, 0x28);
    const struct { BYTE constant, flags; } kCases[] = {{0, 0x08}, {1, 0x08}, {2, 0x28}, {254, 0x28}, {255, 0x08}};
    for (const auto& c : kCases) {
        expected.bytes.clear();
        expected.u8({42, 36 + 44, 0, 0, c.constant, 0}).u32({0, 0, 1, 1, 5, 6, 50000, 9});
        put_dib_header(expected, 1, 1, 32).u32({0x80FF4020});
        expect_page(
            [&] {
                return device->alpha_blend(bitmap, nullptr, &fields, {5, 6, 50000, 9}, from, {0, 0, c.constant, 0});
            },
            expected);
        EXPECT_EQ(flags, c.flags) << int{c.constant};
    }
}

TEST_F(BlitTest, TransparentColour) {
    const RECTL one = {0, 0, 1, 1};
    const struct {
        ULONG index;
        std::initializer_list<int64_t> color;
    } kCases[] = {{2, {0x13, 0x12, 0x11}}, {16, {0xFF, 0xFF, 0xFF}}};
    std::vector<ULONG> colors(16);
    colors[2] = 0xFF131211;
    Translation table(colors);
    Bitmap indexed(BMF_4BPP, 1, 1);
    indexed.set_pixel(0, 0, 2);
    for (const auto& c : kCases) {
        BytesBuilder expected;
        expected.u8({59, 20 + 108}).u8(c.color).u8({0});
        put_rect(expected, one);
        put_rect(expected, one);
        put_dib_header(expected, 1, 1, 4);
        for (int i = 0; i < 16; ++i) expected.u32({i == 2 ? 0x131211 : 0});
        expected.u32({0x20});
        expect_page([&] { return device->transparent_blt(indexed, nullptr, &table, one, one, c.index); }, expected);
        EXPECT_EQ(flags, 0x08);
    }
    Bitmap deep(BMF_24BPP, 1, 1);
    BytesBuilder expected;
    expected.u8({60, 36 + 44, 0x56, 0x34, 0x12, 0}).u32({0, 0, 1, 1, 0, 0, 1, 0x8000});
    put_dib_header(expected, 1, 1, 24).u32({0});
    expect_page(
        [&] {
            return device->transparent_blt(deep, nullptr, nullptr, {0, 0, 1, 0x8000}, one, 0xFF563412);
        },
        expected);
}

TEST_F(BlitTest, MaskedImage) {
    Bitmap bitmap(BMF_24BPP, 2, 2), mask(BMF_1BPP, 2, 2);
    paint_four(bitmap);
    mask.row(0)[0] = 0x40;
    const POINTL at = {0, 0};
    auto put_bitmaps = [&](BytesBuilder& out) {
        put_dib_header(out, 2, 2, 24);
        append(out, kFourPixels);
        put_dib_header(out, 2, 2, 1).u32({0, 0xFFFFFF, 0, 0x40});
    };
    BytesBuilder expected;
    expected.u8({61, 34 + 56 + 56}).u16({0, 0, 0, 2, 2, 10, 20, 12, 20, 12, 22, 10, 22}).u32({56, 56});
    put_bitmaps(expected);
    expect_page(
        [&] {
            return device->bit_blt(&bitmap, &mask, nullptr, nullptr, {10, 20, 12, 22}, &at, nullptr, 0xAACC);
        },
        expected);
    EXPECT_EQ(flags, 0x28);
    expected.bytes.clear();
    expected.u8({62, 58 + 56 + 56}).u16({0}).u32({0, 0, 2, 2, -40000, 0, 2, 0, 2, 2, -40000, 2}).u32({56, 56});
    put_bitmaps(expected);
    expect_page(
        [&] {
            return device->stretch_blt(bitmap, &mask, nullptr, nullptr, {-40000, 0, 2, 2}, {0, 0, 2, 2});
        },
        expected);
}

TEST_F(BlitTest, TheSurfaceReadsBackAsPaper) {
    open_device();  // no page is needed
    Translation to_gray([](ULONG colour) { return colour == 0xFFFFFF ? ULONG{0x5} : ULONG{0}; });
    Bitmap deep(BMF_24BPP, 4, 4), indexed(BMF_4BPP, 4, 4);
    EXPECT_TRUE(device->read_back(deep, nullptr, {1, 1, 99, 3}, {0, 0}));
    EXPECT_TRUE(device->read_back(indexed, &to_gray, {-3, -3, 2, 1}, {0, 0}));
    for (LONG i = 0; i < 16; ++i) {
        const LONG x = i % 4, y = i / 4;
        EXPECT_EQ(deep.pixel(x, y), x >= 1 && y >= 1 && y < 3 ? 0xFFFFFFu : 0u);
        EXPECT_EQ(indexed.pixel(x, y), x < 2 && y < 1 ? 5u : 0u);
    }
    // From one device surface to another there is nothing to be done.
    RECTL rect = {0, 0, 1, 1};
    POINTL at = {};
    EXPECT_FALSE(DrvCopyBits(device->surface(), device->surface(), nullptr, nullptr, &rect, &at));
    EXPECT_FALSE(DrvCopyBits(&deep, device->surface(), nullptr, nullptr, nullptr, &at));
}

}  // namespace
}  // namespace kv::test
