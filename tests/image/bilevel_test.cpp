// Downsampling of 1-bit images: lines stay, halftones keep their darkness.

#include <algorithm>
#include <cmath>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "image/prepare.h"
#include "tests/common/host_test.h"
#include "tests/image/dibs.h"

namespace kv::test {
namespace {

using BilevelTest = HostTest;

// A drawing of some dark pixels on 32 x 32 light ones.
struct Drawing {
    const char* name;
    bool (*dark)(LONG x, LONG y);
    LONG from, to;
    std::string rows;  // the first rows of the result, from the top; x is dark
};

TEST_F(BilevelTest, DrawingsKeepTheirLines) {
    static const Drawing kDrawings[] = {
        {"half a pixel is dark", [](LONG x, LONG y) { return y < 8 && x >= 3 && x < 8; }, 2, 1, ".xxx...."},
        {"less than half", [](LONG x, LONG y) { return x >= 3 && x < 8 && y >= 1 && y < 5; }, 2, 1,
         "..xx.... .xxx.... ..xx...."},
        {"a line down, 4 to 1", [](LONG x, LONG) { return x == 6; }, 4, 1, ".x...... .x......"},
        {"a line across, 4 to 1", [](LONG, LONG y) { return y == 5; }, 4, 1, "........ xxxxxxxx ........"},
        {"cut in two, 5 to 2", [](LONG x, LONG) { return x == 12; }, 5, 2, "....xx.. ....xx.."},
        {"a thick line", [](LONG x, LONG) { return x == 7 || x == 8; }, 4, 1, ".xx....."},
        {"a diagonal", [](LONG x, LONG y) { return x == y; }, 2, 1, "x....... .x......"},
        {"between the pixels", [](LONG x, LONG y) { return x == y + 1; }, 2, 1, "x....... .x......"},
        {"between larger ones", [](LONG x, LONG y) { return x == y + 2; }, 4, 1, "x....... .x......"},
        {"and falling", [](LONG x, LONG y) { return x + y == 9; }, 4, 1, ".x...... x......."},
        {"dots do not count as lines", [](LONG x, LONG y) { return x == 9 && y == 9; }, 4, 1,
         "........ ........ ........"},
    };
    for (auto [black, white] : {std::pair{0, 1}, std::pair{1, 0}}) {
        for (const Drawing& c : kDrawings) {
            Dib dib(32, 32, 1, {white ? 0x000000u : 0xFFFFFFu, white ? 0xFFFFFFu : 0x000000u});
            for (LONG i = 0; i < 32 * 32; ++i) {
                dib.set(i % 32, i / 32, static_cast<DWORD>(c.dark(i % 32, i / 32) ? black : white));
            }
            PackedDib result;
            ASSERT_TRUE(DownsampleDib(dib.view(), c.from, c.to, result));
            ASSERT_EQ(result.header().biBitCount, 1);
            EXPECT_TRUE(result.table()[0] == dib.table()[0] && result.table()[1] == dib.table()[1]);
            std::string rows;
            for (LONG y = 0; static_cast<size_t>(y) * 9 < c.rows.size(); ++y) {
                if (y > 0) rows += ' ';
                for (LONG x = 0; x < 8; ++x) {
                    rows += pixel_of(result.view(), x, y) == static_cast<DWORD>(black) ? 'x' : '.';
                }
            }
            EXPECT_EQ(rows, c.rows) << c.name;
        }
    }
}

// Lines of one pixel, `pitch` apart, that rise by `rise` in `run` >= rise pixels: pixel(x, y, line) for each of their
// pixels.
template <class Pixel>
void draw_lines(LONG side, LONG run, LONG rise, LONG pitch, Pixel pixel) {
    const auto step = static_cast<LONG>(std::lround(static_cast<double>(pitch) * std::hypot(run, rise) / run));
    for (LONG line = -side / step - 1; line * step < side; ++line) {
        for (LONG x = 0; x < side; ++x) {
            const LONG y = line * step + (2 * x * rise + run) / (2 * run);
            if (y >= 0 && y < side) pixel(x, y, line);
        }
    }
}

// No line of a hatching or a grid gets a gap, down to the pitch at which the lines would hardly be told apart.
TEST_F(BilevelTest, HatchingsAndGridsKeepEveryLine) {
    struct {
        LONG from, to, side, hatching, grid;  // the least pitches, pixels
    } static const ratios[] = {
        {2, 1, 160, 4, 7}, {5, 2, 160, 4, 8}, {3, 1, 192, 5, 10}, {4, 1, 160, 6, 12}, {6, 1, 192, 10, 18},
    };
    for (const auto& r : ratios) {
        for (const auto& [run, rise] : {std::pair<LONG, LONG>{1, 0}, {15, 4}, {7, 4}, {1, 1}}) {
            for (LONG pitch : {4, 5, 6, 7, 8, 10, 12, 15, 18, 22, 26, 30}) {
                for (bool grid : {false, true}) {
                    if (pitch < (grid ? r.grid : r.hatching)) continue;
                    Dib dib(r.side, r.side, 1, {0xFFFFFF, 0});
                    draw_lines(r.side, run, rise, pitch, [&](LONG x, LONG y, LONG) {
                        dib.set(x, y, 1);
                        if (grid) dib.set(r.side - 1 - y, x, 1);
                    });
                    PackedDib result;
                    ASSERT_TRUE(DownsampleDib(dib.view(), r.from, r.to, result));
                    std::map<std::pair<LONG, LONG>, bool> kept;  // of each line in each column
                    draw_lines(r.side, run, rise, pitch, [&](LONG x, LONG y, LONG line) {
                        const LONG column = x * r.to / r.from;
                        kept[{line, column}] |= std::min(y, r.side - 1 - y) < r.from ||  // only its end is in the image
                                                pixel_of(result.view(), column, y * r.to / r.from) == 1;
                    });
                    EXPECT_TRUE(std::all_of(kept.begin(), kept.end(), [](const auto& part) { return part.second; }))
                        << r.from << ":" << r.to << ", " << rise << "/" << run << ", " << pitch
                        << (grid ? " grid" : "");
                }
            }
        }
    }
}

// Ways to make one bit of a level from 0 to 256.
class Halftone {
public:
    Halftone(char kind, LONG width) : kind_(kind), errors_(width + 2), next_(width + 2) {}

    bool is_light(LONG x, LONG y, int level) {
        static constexpr int kBayer[4][4] = {{0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};
        switch (kind_) {
            case 'o':
                return level > kBayer[y % 4][x % 4] * 16 + 7;
            case 'r':
                return level > static_cast<int>(random_.below(256));
            case 'c':
                return level > 128 * (1 + std::sin(x * 1.05) * std::sin(y * 1.05));
            default:
                return diffused(static_cast<size_t>(x) + 1, level);
        }
    }

private:
    // Half of the error to the right and half below, or Floyd and Steinberg's shares.
    bool diffused(size_t at, int level) {
        if (at == 1) errors_ = std::exchange(next_, std::vector<int>(errors_.size()));
        const int value = level * 16 + errors_[at];
        const bool light = value >= 2048;
        const int error = value - (light ? 4096 : 0);
        const bool half = kind_ == 'd';
        errors_[at + 1] += error * (half ? 8 : 7) / 16;
        next_[at] += error * (half ? 8 : 5) / 16;
        if (half) return light;
        next_[at - 1] += error * 3 / 16;
        next_[at + 1] += error / 16;
        return light;
    }

    char kind_;
    std::vector<int> errors_, next_;
    Random random_{22};
};

// The dark part of the columns from `part` to the next of `parts`.
double darkness(const DibView& image, LONG part, LONG parts) {
    const LONG left = image.header->biWidth * part / parts, right = image.header->biWidth * (part + 1) / parts;
    double dark = 0;
    for (LONG y = 0; y < image.header->biHeight; ++y) {
        for (LONG x = left; x < right; ++x) dark += pixel_of(image, x, y) == 0;
    }
    return dark / (double{1} * (right - left) * image.header->biHeight);
}

constexpr std::pair<LONG, LONG> kRatios[] = {{2, 1}, {5, 2}, {3, 1}, {4, 1}};
constexpr const char* kHalftones[] = {"ordered", "floyd-steinberg", "random", "coarse dots", "diffused"};

// Pictures of one bit, made of a ramp from black to white in several ways, are as dark as before, all of it and in
// eight strips of it.
TEST_F(BilevelTest, HalftonesKeepTheirDarkness) {
    constexpr LONG kWidth = 1024, kHeight = 512;
    for (const char* kind : kHalftones) {
        Dib dib(kWidth, kHeight, 1, {0, 0xFFFFFF});
        Halftone halftone(kind[0], kWidth);
        for (LONG i = 0; i < kWidth * kHeight; ++i) {
            const LONG x = i % kWidth;
            dib.set(x, i / kWidth, halftone.is_light(x, i / kWidth, static_cast<int>(x * 256 / kWidth)));
        }
        for (const auto& [from, to] : kRatios) {
            PackedDib result;
            ASSERT_TRUE(DownsampleDib(dib.view(), from, to, result));
            const double whole = darkness(dib.view(), 0, 1);
            EXPECT_NEAR(darkness(result.view(), 0, 1), whole, whole * 0.1) << kind << " " << from << ":" << to;
            for (LONG part = 0; part < 8; ++part) {
                EXPECT_NEAR(darkness(result.view(), part, 8), darkness(dib.view(), part, 8), 0.05)
                    << kind << " " << from << ":" << to << " " << part;
            }
        }
    }
}

// Even tints, too: within a tenth of what is dark or of what is light, whichever is less. (Halves of errors make 25 % a
// hatching.)
TEST_F(BilevelTest, TintsKeepTheirDarkness) {
    constexpr LONG kSide = 512;
    for (const char* kind : kHalftones) {
        if (kind[0] == 'd') continue;
        for (int percent : {1, 2, 5, 10, 20, 30, 40, 50, 70, 90, 98, 99}) {
            Dib dib(kSide, kSide, 1, {0, 0xFFFFFF});
            Halftone halftone(kind[0], kSide);
            for (LONG i = 0; i < kSide * kSide; ++i) {
                dib.set(i % kSide, i / kSide, halftone.is_light(i % kSide, i / kSide, 256 * (100 - percent) / 100));
            }
            const double dark = darkness(dib.view(), 0, 1), less = std::min(dark, 1 - dark);
            for (const auto& [from, to] : kRatios) {
                PackedDib result;
                ASSERT_TRUE(DownsampleDib(dib.view(), from, to, result));
                EXPECT_NEAR(darkness(result.view(), 0, 1), dark, 0.1 * less)
                    << kind << " " << percent << " %, " << from << ":" << to;
            }
        }
    }
}

}  // namespace
}  // namespace kv::test
