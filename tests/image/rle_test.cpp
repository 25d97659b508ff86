// Run-length encoding: bytes worked out by hand, and images of all widths read back by another's reader.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "image/encoding.h"
#include "tests/image/dibs.h"

namespace kv::test {
namespace {

BOOL collect(const void* data, DWORD size, void* context) {
    auto* bytes = static_cast<Bytes*>(context);
    const BYTE* from = static_cast<const BYTE*>(data);
    bytes->insert(bytes->end(), from, from + size);
    return TRUE;
}

using Encoder = decltype(&EncodeRle8);

Bytes encode(Encoder encoder, const Bytes& bits, DWORD width, DWORD stride) {
    Bytes encoded;
    DWORD size = 0, counted = 0;
    const auto total = static_cast<DWORD>(bits.size());
    EXPECT_TRUE(encoder(bits.data(), total, width, stride, collect, &encoded, &size));
    EXPECT_TRUE(encoder(bits.data(), total, width, stride, nullptr, nullptr, &counted));
    EXPECT_TRUE(size == encoded.size() && counted == size);
    return encoded;
}

// One row, without padding.
std::string row8(const Bytes& row) {
    const auto size = static_cast<DWORD>(row.size());
    return to_hex(encode(EncodeRle8, row, size, size));
}
std::string row4(const Bytes& row, DWORD width) {
    return to_hex(encode(EncodeRle4, row, width, static_cast<DWORD>(row.size())));
}

Bytes counting(int first, int count) {
    Bytes bytes;
    for (int i = 0; i < count; ++i) bytes.push_back(static_cast<BYTE>(first + i));
    return bytes;
}

Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// With the codes of the row's and the bitmap's end.
std::string ended(const Bytes& row) { return to_hex(row + Bytes{0, 0, 0, 1}); }

TEST(Rle8, SplitsRowsIntoLiteralsAndRuns) {
    struct {
        const char *row, *encoded;
    } static const cases[] = {
        {"07 07 07 07 07 07 07 07 07 07 07 07", "0C 07"},
        {"01 02 03 04 04 04 04 04 06 07 08", "00 03 01 02 03 00 05 04 00 03 06 07 08 00"},
        // A literal of one or two bytes takes from the run what it lacks.
        {"01 02 02 02 02 02 02 02 02", "00 03 01 02 02 00 06 02"},
        {"01 03 02 02 02 02 02 02", "00 03 01 03 02 00 05 02"},
        // Runs below 5 bytes are part of a literal before them, and it goes on behind them.
        {"01 02 03 04 04 04 04 05 06", "00 09 01 02 03 04 04 04 04 05 06 00"},
        {"01 02 02 02 02 02 02", "00 07 01 02 02 02 02 02 02 00"},
        {"01 02 02 03 03 03 03 03 03", "00 03 01 02 02 00 06 03"},
        // Without a literal before it a run may be short.
        {"05 05 01 02 03", "02 05 00 03 01 02 03 00"},
        {"01 01 02 02 03 03", "02 01 02 02 02 03"},
        // Too little is left for a literal: the run gives back, or joins in when it is short.
        {"05 05 05 05 05 05 05 05 01", "06 05 00 03 05 05 01 00"},
        {"05 05 05 05 05 05 05 05 01 02", "07 05 00 03 05 01 02 00"},
        {"05 05 05 05 05 05 05 05 01 01", "08 05 02 01"},
        {"05 05 05 05 05 01 02", "04 05 00 03 05 01 02 00"},
        {"05 05 05 05 01", "00 05 05 05 05 05 01 00"},
        {"05 05 01 02", "00 04 05 05 01 02"},
        // A row too short for any literal.
        {"09", "01 09"},
        {"09 08", "01 09 01 08"},
    };
    for (const auto& c : cases) EXPECT_EQ(row8(from_hex(c.row)), ended(from_hex(c.encoded))) << c.row;
}

TEST(Rle8, CutsWhatIsLongerThanACount) {
    EXPECT_EQ(row8(Bytes(300, 7)), ended({255, 7, 45, 7}));
    EXPECT_EQ(row8(Bytes(256, 7)), ended({255, 7, 1, 7}));
    // What remains of a literal is never 1 or 2 bytes.
    EXPECT_EQ(row8(counting(0, 255)), ended(Bytes{0, 255} + counting(0, 255) + Bytes{0}));
    EXPECT_EQ(row8(counting(0, 256)), ended(Bytes{0, 253} + counting(0, 253) + Bytes{0, 0, 3, 253, 254, 255, 0}));
    EXPECT_EQ(row8(counting(0, 257)), ended(Bytes{0, 254} + counting(0, 254) + Bytes{0, 3, 254, 255, 0, 0}));
    EXPECT_EQ(row8(counting(0, 258)), ended(Bytes{0, 255} + counting(0, 255) + Bytes{0, 0, 3, 255, 0, 1, 0}));
}

TEST(Rle8, EndsEveryRowAndSkipsItsPadding) {
    const Bytes bits = from_hex("07 07 07 07 07 99 99 99  01 02 03 04 05 99 99 99");
    EXPECT_EQ(to_hex(encode(EncodeRle8, bits, 5, 8)),
              to_hex(from_hex("05 07 00 00  00 05 01 02 03 04 05 00 00 00  00 01")));
}

TEST(Rle4, SplitsRowsOfTwoPixelsAByte) {
    struct {
        DWORD width;
        const char *row, *encoded;
    } static const cases[] = {
        {24, "77 77 77 77 77 77 77 77 77 77 77 77", "18 77"},
        {21, "77 77 77 77 77 77 77 77 77 77 77", "15 77"},
        {21, "77 77 77 77 77 77 77 77 77 77 70", "12 77 00 03 77 70"},
        {10, "01 22 22 22 22", "00 04 01 22 06 22"},
        {8, "01 22 22 22", "00 08 01 22 22 22"},
        {10, "01 23 45 66 66", "00 0A 01 23 45 66 66 00"},
        {12, "01 23 45 66 66 66", "00 06 01 23 45 00 06 66"},
        {11, "01 23 45 66 66 66", "00 06 01 23 45 00 05 66"},
        {8, "22 22 01 23", "04 22 00 04 01 23"},
        {6, "22 22 01", "00 06 22 22 01 00"},
        {8, "22 22 22 01", "04 22 00 04 22 01"},
        {7, "22 22 22 01", "04 22 00 03 22 01"},
        {2, "12", "02 12"},
        {1, "10", "01 10"},
    };
    for (const auto& c : cases) EXPECT_EQ(row4(from_hex(c.row), c.width), ended(from_hex(c.encoded))) << c.row;
}

TEST(Rle4, CutsWhatIsLongerThanACount) {
    EXPECT_EQ(row4(Bytes(128, 0x77), 256), ended({254, 0x77, 2, 0x77}));
    EXPECT_EQ(row4(Bytes(128, 0x77), 255), ended({254, 0x77, 1, 0x77}));
    EXPECT_EQ(row4(counting(0, 127), 254), ended(Bytes{0, 254} + counting(0, 127) + Bytes{0}));
    EXPECT_EQ(row4(counting(0, 128), 256), ended(Bytes{0, 252} + counting(0, 126) + Bytes{0, 4, 126, 127}));
    EXPECT_EQ(row4(counting(0, 129), 257), ended(Bytes{0, 254} + counting(0, 127) + Bytes{0, 0, 3, 127, 128}));
}

TEST(Rle, EndsWhenTheSinkRefusesAndForRowsBeyondTheirStride) {
    struct Sink {
        int calls = 0, accepted;
        static BOOL take(const void*, DWORD, void* context) {
            auto* sink = static_cast<Sink*>(context);
            return ++sink->calls <= sink->accepted;
        }
    };
    Random random(1);
    Dib dib = Dib::noise(200, 100, 8, random);
    for (int accepted : {0, 1, 2}) {
        Sink sink = {0, accepted};
        const DWORD most = 4096u * static_cast<DWORD>(accepted + 1) + 300;  // a buffer each, and what was at hand
        DWORD size = 0;
        EXPECT_FALSE(EncodeRle8(dib.row(0), 20000, 200, 200, Sink::take, &sink, &size));
        EXPECT_EQ(sink.calls, accepted + 1);
        EXPECT_LE(size, most);  // nothing is encoded for nobody
        sink.calls = 0;
        EXPECT_FALSE(EncodeRle8(dib.row(0), 20000, 20000, 20000, Sink::take, &sink, &size));  // one row
        EXPECT_LE(size, most);
    }
    DWORD size = 0;
    EXPECT_FALSE(EncodeRle8(dib.row(0), 20000, 201, 200, nullptr, nullptr, &size));
    EXPECT_FALSE(EncodeRle4(dib.row(0), 20000, 401, 200, nullptr, nullptr, &size));
    EXPECT_FALSE(EncodeRle8(dib.row(0), 20000, 0, 200, nullptr, nullptr, &size));
}

// Rows from noise to long runs.
void fill_row(Dib& dib, LONG row, DWORD longest_run, Random& random) {
    const WORD bits = dib.header().biBitCount;
    DWORD value = 0, left = 0;
    for (LONG x = 0; x < dib.header().biWidth; ++x) {
        if (left-- == 0) {
            value = random.below(1u << bits);
            left = random.below(longest_run);
        }
        dib.set(x, row, value);
    }
}

// What another's reader makes of a file: a raw PPM picture, top row first.
std::string picture_of(const Bytes& file, const std::string& path) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(file.data()), static_cast<std::streamsize>(file.size()));
    std::FILE* pipe = popen(("bmptopnm -quiet " + path).c_str(), "r");
    std::string picture;
    for (int c; pipe && (c = std::fgetc(pipe)) != EOF;) picture.push_back(static_cast<char>(c));
    EXPECT_TRUE(pipe && pclose(pipe) == 0);
    return picture;
}

TEST(Rle, AnotherReaderSeesTheSamePixelsAtAllWidths) {
    static constexpr DWORD kLongestRuns[] = {1, 3, 8, 40, 1000};
    char path[] = "/tmp/rle-test-XXXXXX";
    ASSERT_NE(close(mkstemp(path)), -1);
    Random random(20);
    for (WORD bits : {WORD{8}, WORD{4}}) {
        std::vector<DWORD> table;
        for (DWORD i = 0; i < 1u << bits; ++i) table.push_back(0x200000 + i * 0x0101);  // not gray
        for (LONG width = 1; width <= 600; ++width) {
            Dib dib(width, std::size(kLongestRuns), bits);
            for (LONG row = 0; row < 5; ++row) fill_row(dib, row, kLongestRuns[row], random);
            std::string expected = "P6\n" + std::to_string(width) + " 5\n255\n";
            for (LONG at = 0; at < 5 * width; ++at) {
                const auto level = static_cast<char>(pixel_of(dib.view(), at % width, 4 - at / width));
                expected.append({0x20, level, level});
            }
            const Bytes encoded = encode(bits == 8 ? EncodeRle8 : EncodeRle4, Bytes(dib.row(0), dib.row(5)),
                                         static_cast<DWORD>(width), static_cast<DWORD>(dib_stride(dib.header())));
            BITMAPINFOHEADER header = dib.header();
            header.biCompression = bits == 8 ? BI_RLE8 : BI_RLE4;
            header.biSizeImage = static_cast<DWORD>(encoded.size());
            ASSERT_EQ(picture_of(bmp_file(header, table, encoded), path), expected) << bits << ", " << width;
        }
    }
    std::remove(path);
}

}  // namespace
}  // namespace kv::test
