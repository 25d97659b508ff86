#include "image/mono_rows.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>

#include "support/assert.h"

namespace kv {
namespace {

DWORD count(DWORD bits) { return static_cast<DWORD>(std::popcount(bits)); }

// A word of pixels and their neighbours: the row's words and those of the rows above and below, each also moved to see
// the pixel on the left and on the right.
struct Around {
    DWORD here, left, right, up, up_left, up_right, down, down_left, down_right;

    Around(const DWORD* above, const DWORD* row, const DWORD* below)
        : here(*row),
          left(left_of(row)),
          right(right_of(row)),
          up(*above),
          up_left(left_of(above)),
          up_right(right_of(above)),
          down(*below),
          down_left(left_of(below)),
          down_right(right_of(below)) {}

    // Dark, and in no dark square of two by two: a line that is one pixel wide.
    DWORD thin() const {
        return here & ~(left & ((up & up_left) | (down & down_left))) &
               ~(right & ((up & up_right) | (down & down_right)));
    }
    DWORD alone() const { return here & ~(left | right | up | up_left | up_right | down | down_left | down_right); }
    // With at most one neighbour that is dark (flip 0), or light of light ones (flip ~0).
    DWORD ends(DWORD flip) const {
        DWORD one = 0, two = 0;
        for (DWORD neighbour : {left, right, up, up_left, up_right, down, down_left, down_right}) {
            two |= one & (neighbour ^ flip);
            one |= neighbour ^ flip;
        }
        return (here ^ flip) & ~two;
    }

private:
    static DWORD left_of(const DWORD* word) { return word[0] >> 1 | word[-1] << 31; }
    static DWORD right_of(const DWORD* word) { return word[0] << 1 | word[1] >> 31; }
};

// A byte of 0 or 1 for each of eight bits, the highest in the first byte.
uint64_t spread(DWORD byte) {
    const uint64_t bits = (byte & 0xFF) * 0x0101010101010101ull & 0x0102040810204080ull;
    return (bits + 0x7F7F7F7F7F7F7F7Full) >> 7 & 0x0101010101010101ull;
}

}  // namespace

BOOL MonoRows::open(const PixelReader& pixels, DWORD dark, DWORD new_width) {
    pixels_ = &pixels;
    inverted_ = dark == 1 ? 0 : ~0u;
    const size_t padded = size_t{row_words()} + 2;
    for (DarkRow& row : dark_) {
        if (!row.words.alloc(padded, kQuietly)) return FALSE;
    }
    const DWORD tiles_down = (pixels.rows() + kTile - 1) / kTile;
    HeapArray<Texture> textures;
    if (!choose_doubled(new_width) || !light_.alloc(padded, kQuietly) ||
        !thresholds_.alloc(size_t{row_words()} * tiles_down, kQuietly))
        return FALSE;
    for (DWORD top = 0; top < pixels.rows(); top += kTile) {
        if (!textures.alloc(row_words(), kQuietly)) return FALSE;
        const DWORD bottom = std::min(top + kTile, pixels.rows());
        for (DWORD row = top; row < bottom; ++row) {
            const DWORD *above = dark_row(row - 1), *here = dark_row(row), *below = dark_row(row + 1);
            for (DWORD i = 0; i < row_words(); ++i) textures[i].add(above + i, here + i, below + i);
        }
        for (DWORD i = 0; i < row_words(); ++i) {
            const DWORD area = std::min(kTile, pixels.width() - i * kTile) * (bottom - top);
            if (!textures[i].is_halftone(area, pixels.width(), new_width)) continue;
            thresholds_[tile(i * kTile, top)] = static_cast<BYTE>(64 + 128 * textures[i].dark / area);
        }
    }
    return TRUE;
}

// Where a line runs slantwise just between two output pixels, of an even number of pixels each, both would have half of
// it, and be dark: a spot. So what lies in the left half of one counts a little less.
BOOL MonoRows::choose_doubled(DWORD new_width) {
    if (!doubled_.alloc(row_words(), kQuietly)) return FALSE;
    const DWORD width = pixels_->width(), ratio = width / new_width;
    const bool even = ratio * new_width == width && ratio % 2 == 0;
    for (DWORD x = 0; x < width; ++x) {
        if (!even || x % ratio >= ratio / 2) doubled_[x / kTile] |= 0x80000000u >> x % kTile;
    }
    return TRUE;
}

// Corners are looked for in each square of two by two: one dark pixel is an outer corner, three are an inner one, and
// two at a diagonal are two outer ones that touch, and so hang together, which takes four. A line that goes through has
// none left, however it bends.
void MonoRows::Texture::add(const DWORD* above, const DWORD* row, const DWORD* below) {
    const Around at(above, row, below);
    const DWORD change = at.here ^ at.left, fall = at.here ^ at.up, odd = change ^ at.up ^ at.up_left;
    const DWORD inner = odd & ((at.here & at.left) | (at.up & at.up_left)), touch = ~odd & change & fall;
    dark += count(at.here);
    solid += count(at.here & at.left & at.up & at.up_left);
    across += count(change);
    down += count(fall);
    dark_ends += count(at.ends(0));
    light_ends += count(at.ends(~0u));
    corners += static_cast<int>(count(odd)) - 2 * static_cast<int>(count(inner | touch));
    rows += at.here != 0;
    columns |= at.here;
}

// Four or more of up to 24 edges and no long ones: of dots with so many edges, a plus has about the smallest area.
bool MonoRows::Texture::has_round_dots(DWORD area) const {
    const auto quarters = static_cast<DWORD>(std::abs(corners));
    const DWORD edges = across + down;
    return quarters >= 16 && edges <= 6 * quarters && edges * edges <= 8 * quarters * area;
}

// `from` pixels become `to`.
bool MonoRows::Texture::is_halftone(DWORD pixels, DWORD from, DWORD to) const {
    const DWORD light = pixels - dark;
    // Lines that could not be told apart: with each an output pixel wide, more than four fifths would be dark.
    if (uint64_t{dark - solid} * from * 5 > uint64_t{pixels} * to * 4) return true;
    // Edges in both directions as lines do not have them: at every other pixel, or, where a third to two thirds are
    // dark and coarse dots touch, at every seventh.
    const bool touching = 3 * dark > pixels && 3 * light > pixels;
    if (std::min(across, down) * (touching ? 7 : 2) >= pixels) return true;
    // Dots in a row, with less than two between them for each, are a dotted line.
    const DWORD narrow = std::min(rows, count(columns));
    if (narrow <= 2 && 3 * dark >= kTile * narrow) return false;
    // Among scattered dots a quarter and more are alone or at an end, and a sixth where they stand closer than dashes.
    const auto has_scattered_dots = [pixels](DWORD ends, DWORD area) {
        return (4 * area > pixels ? 6 : 4) * ends > area;
    };
    if (dark > light) return has_scattered_dots(light_ends, light) || has_round_dots(light);
    if (has_scattered_dots(dark_ends, dark)) return true;
    if (corners >= 0) return has_round_dots(dark);
    // Holes are the spaces of a grid, here too small to be seen when a line is an output pixel wide.
    const auto holes = static_cast<DWORD>(-corners);
    return uint64_t{across + down + holes} * to <= uint64_t{2 * holes} * from;
}

const DWORD* MonoRows::dark_row(DWORD row) {
    if (row >= pixels_->rows()) return light_.get() + 1;  // also above the first
    DarkRow& dark = dark_[row % 4];
    DWORD* words = dark.words.get() + 1;
    if (dark.row == row) return words;
    dark.row = row;
    const BYTE* stored = pixels_->stored_row(row);  // of whole double words
    const DWORD rest = pixels_->width() % kTile;
    for (DWORD i = 0; i < row_words(); ++i, stored += sizeof(DWORD)) {
        words[i] = (DWORD{stored[0]} << 24 | DWORD{stored[1]} << 16 | DWORD{stored[2]} << 8 | stored[3]) ^ inverted_;
    }
    if (rest > 0) words[row_words() - 1] &= ~0u << (kTile - rest);
    return words;
}

void MonoRows::weigh(DWORD row, BYTE* weights) {
    KV_ASSERT(row < pixels_->rows());
    const DWORD *above = dark_row(row - 1), *here = dark_row(row), *below = dark_row(row + 1);
    const BYTE* thresholds = &thresholds_[tile(0, row)];
    for (DWORD i = 0; i < row_words(); ++i) {
        const DWORD dark = here[i];
        DWORD thin = 0, twice = 0;
        if (dark != 0 && thresholds[i] == 0) {
            const Around at(above + i, here + i, below + i);
            thin = at.thin();
            twice = (thin & doubled_[i]) | at.alone();
        }
        for (int shift = 24; shift >= 0; shift -= 8, weights += 8) {
            const uint64_t eight =
                kDark * spread(dark >> shift) + (kDark - 1) * spread(thin >> shift) + spread(twice >> shift);
            std::memcpy(weights, &eight, sizeof eight);
        }
    }
}

}  // namespace kv
