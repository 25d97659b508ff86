// Images held back: bands of one image, and the three steps by which transparent images are drawn.

#include "tests/common/fault_test.h"
#include "tests/record/blit_bytes.h"

namespace kv::test {
namespace {

using engine::Bitmap;
using engine::RowOrder;
using engine::Translation;

// The type and length of a record, and of an image its operation, size, depth and place.
struct Written {
    int type, rop, width, height, bits;
    RECTL to;
    bool operator==(const Written& other) const {
        return type == other.type && rop == other.rop && width == other.width && height == other.height &&
               bits == other.bits && same_rect(to, other.to);
    }
};
std::ostream& operator<<(std::ostream& out, const Written& w) {
    return out << w.type << " rop " << w.rop << ", " << w.width << "x" << w.height << "x" << w.bits << " to "
               << w.to.left << "," << w.to.top << "," << w.to.right << "," << w.to.bottom;
}

struct PendingBitmapTest : PrintTest {
    void SetUp() override {
        PrintTest::SetUp();
        start_page();
    }
    BOOL draw(Bitmap& bitmap, const RECTL& to, BYTE rop = 0xCC, Translation* table = nullptr) {
        return device->stretch_blt_rop(bitmap, nullptr, nullptr, table, to, {0, 0, bitmap.width(), bitmap.height()},
                                       nullptr, rop);
    }
    // A bottom-up band whose pixels all are `color`.
    static std::unique_ptr<Bitmap> band(LONG width, LONG height, ULONG color = 0, ULONG format = BMF_24BPP) {
        auto bitmap = std::make_unique<Bitmap>(format, width, height, RowOrder::BottomUp);
        for (LONG i = 0; i < width * height; ++i) bitmap->set_pixel(i % width, i / width, color);
        return bitmap;
    }
    // The records of the page, which must hold images with 16-bit coordinates only.
    std::vector<Written> written() {
        end_page_and_document();
        EXPECT_EQ(faults_of(job()), "");
        const Bytes page = page_records();
        std::vector<Written> records;
        for (size_t at = 0; at < page.size();) {
            size_t length = page[at + 1], head = 2;
            if (length == 0xFE) length = page[at + 2] | page[at + 3] << 8, head = 4;
            if (length == 0xFF) length = page[at + 3] | page[at + 4] << 8 | page[at + 5] << 16, head = 7;
            const BYTE* body = &page[at + head];
            auto i16 = [&](size_t offset) { return static_cast<int16_t>(body[offset] | body[offset + 1] << 8); };
            const bool masked = page[at] == 61;
            const size_t to = masked ? 10 : 9, dib = masked ? 34 : 17;
            const RECTL rect = masked ? RECTL{i16(10), i16(12), i16(18), i16(20)}
                                      : RECTL{i16(to), i16(to + 2), i16(to + 4), i16(to + 6)};
            records.push_back({page[at], masked ? 0 : body[0], i16(dib + 4), i16(dib + 8), i16(dib + 14), rect});
            at += head + length;
        }
        return records;
    }
};

TEST_F(PendingBitmapTest, JoinsTheBandsOfAnImage) {
    for (int i = 0; i < 10; ++i) {
        auto part = band(8, 40, static_cast<ULONG>(i + 1));
        EXPECT_TRUE(draw(*part, {100, 100 + 20 * i, 116, 120 + 20 * i}));
    }
    EXPECT_TRUE(pdevice().pending.is_pending());
    EXPECT_EQ(written(), (std::vector<Written>{{18, 0xCC, 8, 400, 24, {100, 100, 116, 300}}}));
    // The last band is the lowest and comes first.
    const Bytes page = page_records();
    const size_t bits = page.size() - 400 * 24;
    for (int i = 0; i < 10; ++i) EXPECT_EQ(page[bits + i * 40 * 24], 10 - i);
}

TEST_F(PendingBitmapTest, KeepsApartWhatDoesNotContinue) {
    auto first = band(8, 4), next = band(8, 4), wider = band(9, 4), narrower = band(7, 4),
         gray = band(8, 4, 0, BMF_8BPP), other_gray = band(8, 4, 0, BMF_8BPP);
    std::vector<ULONG> colors(256, 1);
    Translation table(colors), other_table(std::vector<ULONG>(256, 2)), fields(0xFF, 0xFF00, 0xFF0000),
        other_fields(0xFF00, 0xFF, 0xFF0000);
    const RECTL at = {0, 0, 8, 4}, below = {0, 4, 8, 8};
    EXPECT_TRUE(draw(*first, at));
    EXPECT_TRUE(draw(*next, {0, 5, 8, 9}));    // a row apart
    EXPECT_TRUE(draw(*next, {1, 9, 8, 13}));   // another left edge
    EXPECT_TRUE(draw(*next, {1, 13, 9, 17}));  // another right edge
    EXPECT_TRUE(draw(*wider, {1, 17, 9, 21}));
    EXPECT_TRUE(draw(*next, {1, 21, 9, 25}, 0x88));  // another operation
    EXPECT_TRUE(draw(*gray, at, 0xCC, &table));      // another depth
    EXPECT_TRUE(draw(*other_gray, below, 0xCC, &table));
    EXPECT_TRUE(draw(*other_gray, {0, 8, 8, 12}, 0xCC, &other_table));  // other colours
    EXPECT_TRUE(draw(*narrower, at));                                   // of the same row length in bytes
    EXPECT_TRUE(draw(*first, below));
    EXPECT_TRUE(draw(*first, {0, 8, 8, 12}, 0xCC, &fields));  // colour fields of its own
    EXPECT_TRUE(draw(*first, {0, 12, 8, 16}, 0xCC, &fields));
    EXPECT_TRUE(draw(*first, {0, 16, 8, 20}, 0xCC, &other_fields));
    EXPECT_EQ(written(), (std::vector<Written>{{18, 0xCC, 8, 4, 24, at},
                                               {18, 0xCC, 8, 4, 24, {0, 5, 8, 9}},
                                               {18, 0xCC, 8, 4, 24, {1, 9, 8, 13}},
                                               {18, 0xCC, 8, 4, 24, {1, 13, 9, 17}},
                                               {18, 0xCC, 9, 4, 24, {1, 17, 9, 21}},
                                               {18, 0x88, 8, 4, 24, {1, 21, 9, 25}},
                                               {18, 0xCC, 8, 8, 8, {0, 0, 8, 8}},
                                               {18, 0xCC, 8, 4, 8, {0, 8, 8, 12}},
                                               {18, 0xCC, 7, 4, 24, at},
                                               {18, 0xCC, 8, 4, 24, below},
                                               {18, 0xCC, 8, 8, 24, {0, 8, 8, 16}},
                                               {18, 0xCC, 8, 4, 24, {0, 16, 8, 20}}}));
}

TEST_F(PendingBitmapTest, DoesNotHoldSomeImages) {
    auto plain = band(8, 4), deep = band(8, 4, 0, BMF_32BPP), words = band(8, 4, 0, BMF_16BPP);
    Bitmap top_down(BMF_24BPP, 8, 4), encoded(BMF_8RLE, 8, 4, from_hex("0001"));
    Translation table(std::vector<ULONG>(256, 1));
    const RECTL at = {0, 0, 8, 4};
    EXPECT_TRUE(draw(top_down, at));
    EXPECT_TRUE(draw(*deep, at));
    EXPECT_TRUE(draw(*words, at));
    EXPECT_TRUE(draw(encoded, at, 0xCC, &table));
    EXPECT_TRUE(draw(*plain, {8, 0, 0, 4}));  // mirrored
    EXPECT_FALSE(pdevice().pending.is_pending());
    EXPECT_TRUE(device->stretch_blt(*plain, nullptr, nullptr, nullptr, at, {2, 0, 8, 4}));  // whole when it is cut
    EXPECT_TRUE(pdevice().pending.is_pending());
    EXPECT_EQ(written().size(), 6u);
    start_page();
    EXPECT_TRUE(device->stretch_blt(*plain, nullptr, nullptr, nullptr, at, {-1, 0, 8, 4}));  // not just its pixels
    EXPECT_FALSE(pdevice().pending.is_pending());
    end_page_and_document();
}

TEST_F(PendingBitmapTest, HoldsManyBandsButNotAny) {
    auto row = band(1, 1);
    for (LONG y = 0; y < 600; ++y) EXPECT_TRUE(draw(*row, {0, y, 1, y + 1}));
    EXPECT_EQ(written(),
              (std::vector<Written>{{18, 0xCC, 1, 512, 24, {0, 0, 1, 512}}, {18, 0xCC, 1, 88, 24, {0, 512, 1, 600}}}));
}

// The depth before reduction counts here, unlike for an image that is not held.
TEST_F(PendingBitmapTest, PreparesTheJoinedImage) {
    PrivateDevMode& settings = pdevice().settings.kv;
    settings.ResDownSamp = 50;
    settings.ResDownSampMono = 50;
    const struct {
        WORD compression;
        int held, direct;  // widths
    } kCases[] = {{0x60, 50, 100}, {0xA0, 100, 50}};
    std::vector<Written> expected;
    auto upper = band(100, 50, 0xFFFFFF), lower = band(100, 50);
    Bitmap top_down(BMF_24BPP, 100, 100);
    top_down.set_pixel(0, 0, 0xFFFFFF);
    for (const auto& c : kCases) {
        settings.Compression = c.compression;
        EXPECT_TRUE(draw(*upper, {0, 0, 100, 50}));
        EXPECT_TRUE(draw(*lower, {0, 50, 100, 100}));
        EXPECT_TRUE(draw(top_down, {0, 0, 100, 100}));
        expected.push_back({18, 0xCC, c.held, c.held, 1, {0, 0, 100, 100}});
        expected.push_back({18, 0xCC, c.direct, c.direct, 1, {0, 0, 100, 100}});
    }
    EXPECT_EQ(written(), expected);
}

constexpr BYTE kXor = 0x66, kAnd = 0x88;

TEST_F(PendingBitmapTest, ThreeStepsMakeAMaskedImage) {
    const RECTL at = {10, 20, 12, 22};
    Bitmap image(BMF_24BPP, 2, 2, RowOrder::BottomUp), mask(BMF_1BPP, 2, 2, RowOrder::BottomUp);
    image.set_pixel(0, 0, 0x123456);
    mask.set_pixel(0, 0, 1);
    // Colour 1 is white, so that the bits are turned round.
    Translation table({0, 0xFFFFFF});
    EXPECT_TRUE(draw(image, at, kXor));
    EXPECT_TRUE(draw(mask, at, kAnd, &table));
    EXPECT_TRUE(draw(image, at, kXor));
    end_page_and_document();
    BytesBuilder expected;
    expected.u8({61, 34 + 56 + 56}).u16({0, 0, 0, 2, 2, 10, 20, 12, 20, 12, 22, 10, 22}).u32({56, 56});
    put_dib_header(expected, 2, 2, 24).u32({0, 0, 0x00123456, 0});
    put_dib_header(expected, 2, 2, 1).u32({0, 0xFFFFFF}).u32({0xFFFFFFFF, 0xFFFFFF7F});
    EXPECT_EQ(to_hex(page_records()), to_hex(expected.bytes));
    EXPECT_EQ(faults_of(job()), "");
}

TEST_F(PendingBitmapTest, TheMaskMayHaveBandsAndOtherDepths) {
    const RECTL upper = {0, 0, 4, 4}, lower = {0, 4, 4, 8}, all = {0, 0, 4, 8};
    auto image = band(4, 4, 0x123456), white = band(4, 4, 0xFFFFFF), black = band(4, 4), whole = band(4, 8, 0x123456);
    EXPECT_TRUE(draw(*image, upper, kXor));
    EXPECT_TRUE(draw(*image, lower, kXor));
    EXPECT_TRUE(draw(*white, upper, kAnd));
    EXPECT_TRUE(draw(*black, lower, kAnd));
    EXPECT_TRUE(draw(*whole, all, kXor));
    Translation fields(0xFF, 0xFF00, 0xFF0000);
    EXPECT_TRUE(draw(*image, {8, 0, 12, 4}, kXor));
    EXPECT_TRUE(draw(*white, {8, 0, 12, 4}, kAnd, &fields));
    EXPECT_TRUE(draw(*image, {8, 0, 12, 4}, kXor));
    // Another one, with the black and white the other way round.
    auto bits = band(4, 8, 1, BMF_1BPP);
    Translation black_is_one({0xFFFFFF, 0});
    EXPECT_TRUE(draw(*whole, all, kXor));
    EXPECT_TRUE(draw(*bits, all, kAnd, &black_is_one));
    EXPECT_TRUE(draw(*whole, all, kXor));
    EXPECT_EQ(written(),
              (std::vector<Written>{{61, 0, 4, 8, 24, all}, {61, 0, 4, 4, 24, {8, 0, 12, 4}}, {61, 0, 4, 8, 24, all}}));
    const Bytes page = page_records();
    auto mask_rows = [&](size_t end, size_t count) {
        std::string rows;
        for (size_t row = end - count * 4; row < end; row += 4) rows += to_hex({page[row]});
        return rows;
    };
    // Type and length, 34 bytes of head, and an image of 40 + 12 bytes a row with its mask of 48 + 4 bytes a row.
    constexpr size_t kTall = 2 + 34 + 88 + 16 * 8, kShort = 2 + 34 + 88 + 16 * 4;
    EXPECT_EQ(mask_rows(kTall, 8), "F0 F0 F0 F0 00 00 00 00 ");
    EXPECT_EQ(mask_rows(kTall + kShort, 4), "00 00 00 00 ");
    EXPECT_EQ(mask_rows(page.size(), 8), "F0 F0 F0 F0 F0 F0 F0 F0 ");
}

TEST_F(PendingBitmapTest, WhatIsNoIdiomIsWrittenStepByStep) {
    const RECTL at = {0, 0, 4, 4};
    auto image = band(4, 4, 0x123456), black = band(4, 4), red = band(4, 4, 0xFF0000), half = band(4, 2);
    // The and image has colours: its step goes into the job, and so does the third one, which begins nothing.
    EXPECT_TRUE(draw(*image, at, kXor));
    EXPECT_TRUE(draw(*red, at, kAnd));
    EXPECT_TRUE(draw(*image, at, kXor));
    EXPECT_TRUE(draw(*black, at, kAnd));
    // A mask that covers half of the image, and one of half its pixels.
    const RECTL next = {10, 0, 14, 4}, upper = {10, 0, 14, 2};
    EXPECT_TRUE(draw(*image, next, kXor));
    EXPECT_TRUE(draw(*half, upper, kAnd));
    EXPECT_TRUE(draw(*image, next, kXor));
    EXPECT_TRUE(draw(*image, {30, 0, 34, 4}, kXor));
    EXPECT_TRUE(draw(*half, {30, 0, 34, 4}, kAnd));
    // The mask elsewhere.
    EXPECT_TRUE(draw(*image, {20, 0, 24, 4}, kXor));
    EXPECT_TRUE(draw(*black, {21, 0, 25, 4}, kAnd));
    EXPECT_EQ(written(), (std::vector<Written>{{18, kXor, 4, 4, 24, at},
                                               {18, kAnd, 4, 4, 24, at},
                                               {18, kXor, 4, 4, 24, at},
                                               {18, kAnd, 4, 4, 24, at},
                                               {18, kXor, 4, 4, 24, next},
                                               {18, kAnd, 4, 2, 24, upper},
                                               {18, kXor, 4, 4, 24, next},
                                               {18, kXor, 4, 4, 24, {30, 0, 34, 4}},
                                               {18, kAnd, 4, 2, 24, {30, 0, 34, 4}},
                                               {18, kXor, 4, 4, 24, {20, 0, 24, 4}},
                                               {18, kAnd, 4, 4, 24, {21, 0, 25, 4}}}));
}

// Steps at one place of 4 x 4 pixels: a letter for the image, its operation and its part (0 all, 1 upper, 2 lower
// half).
TEST_F(PendingBitmapTest, TheThirdStepDrawsTheFirstImageAgain) {
    struct Step {
        char image;
        BYTE rop = 0;
        int part = 0;
    };
    static const struct {
        const char* name;
        std::vector<Step> steps, written;  // an 'M' is the masked image of the steps before it
    } kCases[] = {
        {"the idiom", {{'a', kXor}, {'m', kAnd}, {'a', kXor}}, {{'M'}}},
        {"no third step", {{'a', kXor}, {'m', kAnd}}, {{'M'}}},
        {"another image", {{'a', kXor}, {'m', kAnd}, {'b', kXor}}, {{'a', kXor}, {'m', kAnd}, {'b', kXor}}},
        {"two icons",
         {{'m', kAnd}, {'a', kXor}, {'m', kAnd}, {'b', kXor}},
         {{'m', kAnd}, {'a', kXor}, {'m', kAnd}, {'b', kXor}}},
        {"no mask", {{'a', kXor}, {'a', kXor}}, {{'a', kXor}, {'a', kXor}}},
        {"a fourth step", {{'a', kXor}, {'m', kAnd}, {'a', kXor}, {'a', kXor}}, {{'M'}, {'a', kXor}}},
        {"bands", {{'a', kXor}, {'m', kAnd}, {'a', kXor, 1}, {'a', kXor, 2}}, {{'M'}}},
        {"half of the third", {{'a', kXor}, {'m', kAnd}, {'a', kXor, 1}}, {{'a', kXor}, {'m', kAnd}, {'a', kXor, 1}}},
        {"a band of another",
         {{'a', kXor}, {'m', kAnd}, {'a', kXor, 1}, {'b', kXor, 2}},
         {{'a', kXor}, {'m', kAnd}, {'c', kXor}}},
        {"upside down", {{'a', kXor}, {'m', kAnd}, {'t', kXor}}, {{'a', kXor}, {'m', kAnd}, {'t', kXor}}},
        {"another depth", {{'a', kXor}, {'m', kAnd}, {'m', kXor}}, {{'a', kXor}, {'m', kAnd}, {'m', kXor}}},
        {"colours", {{'a', kXor}, {'r', kAnd}, {'a', kXor}}, {{'a', kXor}, {'r', kAnd}, {'a', kXor}}},
    };
    auto a = band(4, 4, 0x123456), b = band(4, 4, 0x234567), half_a = band(4, 2, 0x123456),
         half_b = band(4, 2, 0x234567), mask = band(4, 4, 1, BMF_1BPP);
    Bitmap top_down(BMF_24BPP, 4, 4);
    Translation black_and_white({0xFFFFFF, 0}), red_and_white({0xFFFFFF, 0xFF0000});
    std::vector<Written> expected;
    LONG x = 0;
    for (const auto& c : kCases) {
        auto place = [&](const Step& step) -> RECTL {
            return {x, step.part == 2 ? 2 : 0, x + 4, step.part == 1 ? 2 : 4};
        };
        for (const Step& step : c.steps) {
            Bitmap& image = step.image == 't'                        ? top_down
                            : step.image == 'm' || step.image == 'r' ? *mask
                            : step.image == 'a'                      ? (step.part ? *half_a : *a)
                                                                     : (step.part ? *half_b : *b);
            Translation* table = step.image == 'm' ? &black_and_white : step.image == 'r' ? &red_and_white : nullptr;
            EXPECT_TRUE(draw(image, place(step), step.rop, table)) << c.name;
        }
        for (const Step& step : c.written) {
            const bool one_bit = step.image == 'm' || step.image == 'r';
            const int type = step.image == 'M' ? 61 : 18;
            expected.push_back({type, step.rop, 4, step.part ? 2 : 4, one_bit ? 1 : 24, place(step)});
        }
        x += 8;
    }
    EXPECT_EQ(written(), expected);
}

// Nine-slice borders: bands of different scale are one image only while no row moves by more than a pixel.
TEST_F(PendingBitmapTest, BandsKeepTheirPlaces) {
    static const struct {
        LONG rows, ends[3];  // of each band; where the bands end
        std::vector<Written> written;
    } kCases[] = {
        {10, {10, 20, 30}, {{18, 0xCC, 4, 30, 24, {0, 0, 4, 30}}}},
        {10, {11, 20, 31}, {{18, 0xCC, 4, 30, 24, {0, 0, 4, 31}}}},
        {10, {10, 22, 32}, {{18, 0xCC, 4, 30, 24, {0, 0, 4, 32}}}},  // the ends move to 10.67 and 21.33
        {10,  // the second would end at 11.5 with the first, and the third with the second
         {10, 23, 33},
         {{18, 0xCC, 4, 10, 24, {0, 0, 4, 10}},
          {18, 0xCC, 4, 10, 24, {0, 10, 4, 23}},
          {18, 0xCC, 4, 10, 24, {0, 23, 4, 33}}}},
        {10, {10, 20, 34}, {{18, 0xCC, 4, 20, 24, {0, 0, 4, 20}}, {18, 0xCC, 4, 10, 24, {0, 20, 4, 34}}}},
    };
    auto part = band(4, 10);
    std::vector<Written> expected;
    for (const auto& c : kCases) {
        LONG top = 0;
        for (const LONG end : c.ends) {
            EXPECT_TRUE(draw(*part, {0, top, 4, end}));
            top = end;
        }
        expected.insert(expected.end(), c.written.begin(), c.written.end());
    }
    EXPECT_EQ(written(), expected);
}

TEST_F(PendingBitmapTest, ThePlaceOfAWrittenXorIsRememberedOnThePage) {
    const RECTL at = {0, 0, 4, 4};
    Bitmap top_down(BMF_24BPP, 4, 4);
    auto image = band(4, 4), mask = band(4, 4);
    EXPECT_TRUE(draw(top_down, at, kXor));
    EXPECT_TRUE(same_rect(pdevice().pending.last_xor(), at));
    EXPECT_TRUE(draw(*image, at, kXor));
    EXPECT_TRUE(draw(*image, at, kXor));
    EXPECT_TRUE(draw(*mask, at, kAnd));
    EXPECT_TRUE(device->send_page());
    EXPECT_TRUE(device->start_page());
    EXPECT_TRUE(draw(*image, at, kXor));
    EXPECT_TRUE(draw(*mask, at, kAnd));
    EXPECT_TRUE(draw(*image, at, kXor));
    end_page_and_document();
    EXPECT_EQ(faults_of(job()), "");
    const Bytes all = job();
    size_t types[64] = {};
    for (size_t at_byte = 16; all[at_byte] != 3;) {  // short records only
        ++types[all[at_byte]];
        at_byte += 2 + all[at_byte + 1];
    }
    EXPECT_EQ(types[18], 4u);
    EXPECT_EQ(types[61], 1u);
}

}  // namespace
}  // namespace kv::test
