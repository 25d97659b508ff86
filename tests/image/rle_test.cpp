// Run-length encoding: bytes worked out by hand, and images of all widths read back by another's reader.

#include <cstdlib>
#include <filesystem>
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
        DWORD size = 0;
        EXPECT_FALSE(EncodeRle8(dib.row(0), 20000, 200, 200, Sink::take, &sink, &size));
        EXPECT_EQ(sink.calls, accepted + 1);
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

struct Sample {
    Dib dib;
    std::string name;
};

Sample write_sample(const std::filesystem::path& folder, LONG width, WORD bits, Random& random) {
    static constexpr DWORD kLongestRuns[] = {1, 3, 8, 40, 1000};
    Dib dib(width, std::size(kLongestRuns), bits);
    std::vector<DWORD> table;
    for (DWORD i = 0; i < 1u << bits; ++i) table.push_back(0x200000 + i * 0x0101);  // not gray
    for (size_t row = 0; row < std::size(kLongestRuns); ++row) {
        fill_row(dib, static_cast<LONG>(row), kLongestRuns[row], random);
    }
    const auto stride = static_cast<DWORD>(dib_stride(dib.header()));
    const Bytes bits_of(dib.row(0), dib.row(std::size(kLongestRuns)));
    const Bytes encoded = encode(bits == 8 ? EncodeRle8 : EncodeRle4, bits_of, static_cast<DWORD>(width), stride);
    BITMAPINFOHEADER header = dib.header();
    header.biCompression = bits == 8 ? BI_RLE8 : BI_RLE4;
    header.biSizeImage = static_cast<DWORD>(encoded.size());
    const std::string name = std::to_string(bits) + "-" + std::to_string(width);
    const Bytes file = bmp_file(header, table, encoded);
    std::ofstream out(folder / (name + ".bmp"), std::ios::binary);
    out.write(reinterpret_cast<const char*>(file.data()), static_cast<std::streamsize>(file.size()));
    return {std::move(dib), name};
}

// A raw PPM picture, top row first.
void expect_picture(const std::filesystem::path& file, Dib& dib) {
    std::ifstream in(file, std::ios::binary);
    std::string magic;
    LONG width = 0, height = 0;
    int most = 0;
    in >> magic >> width >> height >> most;
    in.get();
    ASSERT_EQ(magic, "P6") << file;
    ASSERT_TRUE(width == dib.header().biWidth && height == dib.header().biHeight && most == 255) << file;
    for (LONG y = height - 1; y >= 0; --y) {
        for (LONG x = 0; x < width; ++x) {
            const auto level = static_cast<char>(pixel_of(dib.view(), x, y));
            char rgb[3];
            in.read(rgb, 3);
            ASSERT_TRUE(rgb[0] == 0x20 && rgb[1] == level && rgb[2] == level) << file << " at " << x << ", " << y;
        }
    }
}

TEST(Rle, AnotherReaderSeesTheSamePixelsAtAllWidths) {
    const std::string pattern = (std::filesystem::temp_directory_path() / "rle-test-XXXXXX").string();
    std::vector<char> name(pattern.c_str(), pattern.c_str() + pattern.size() + 1);
    ASSERT_TRUE(mkdtemp(name.data()));
    const std::filesystem::path folder = name.data();
    Random random(20);
    std::vector<Sample> samples;
    for (WORD bits : {WORD{8}, WORD{4}}) {
        for (LONG width = 1; width <= 600; ++width) samples.push_back(write_sample(folder, width, bits, random));
    }
    const std::string loop =
        "cd " + folder.string() + " && for f in *.bmp; do bmptopnm -quiet $f > $f.ppm || exit 1; done";
    EXPECT_EQ(std::system(loop.c_str()), 0);
    for (Sample& sample : samples) expect_picture(folder / (sample.name + ".bmp.ppm"), sample.dib);
    std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace kv::test
