#include "image/mono_rows.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "support/assert.h"

namespace kv {
namespace {

// Eight pixels and their neighbours: bits of the row, of those above and below, each also moved to see the pixel on the
// left and on the right.
struct Around {
    DWORD here, left, right, up, up_left, up_right, down, down_left, down_right;

    Around(const BYTE* above, const BYTE* row, const BYTE* below) {
        auto window = [](const BYTE* at) { return DWORD{at[-1]} << 16 | DWORD{at[0]} << 8 | at[1]; };
        const DWORD u = window(above), h = window(row), d = window(below);
        here = h >> 8, left = h >> 9, right = h >> 7;
        up = u >> 8, up_left = u >> 9, up_right = u >> 7;
        down = d >> 8, down_left = d >> 9, down_right = d >> 7;
    }
    // Without a neighbour of the same colour.
    DWORD alone() const {
        const DWORD any = left | right | up | up_left | up_right | down | down_left | down_right;
        const DWORD all = left & right & up & up_left & up_right & down & down_left & down_right;
        return ((here & ~any) | (~here & all)) & 0xFF;
    }
    // Dark, and in no dark square of two by two.
    DWORD thin() const {
        const DWORD thick =
            (left & ((up & up_left) | (down & down_left))) | (right & ((up & up_right) | (down & down_right)));
        return here & ~thick & 0xFF;
    }
};

// A byte of 0 or 1 for each bit, the highest in the first byte.
uint64_t spread(DWORD byte) {
    const uint64_t bits = (byte & 0xFF) * 0x0101010101010101ull & 0x0102040810204080ull;
    return (bits + 0x7F7F7F7F7F7F7F7Full) >> 7 & 0x0101010101010101ull;
}

}  // namespace

BOOL MonoRows::open(const PixelReader& pixels, DWORD dark) {
    pixels_ = &pixels;
    inverted_ = dark == 1 ? 0x00 : 0xFF;
    tiles_across_ = (pixels.width() + kTile - 1) / kTile;
    const size_t padded = size_t{row_bytes()} + 2;
    for (DarkRow& row : dark_) {
        if (!row.bytes.alloc(padded, kQuietly)) return FALSE;
    }
    const DWORD tiles_down = (pixels.rows() + kTile - 1) / kTile;
    HeapArray<Texture> textures;
    if (!light_.alloc(padded, kQuietly) || !halftone_.alloc(size_t{tiles_across_} * tiles_down, kQuietly)) return FALSE;
    for (DWORD top = 0; top < pixels.rows(); top += kTile) {
        if (!textures.alloc(tiles_across_, kQuietly)) return FALSE;
        const DWORD bottom = std::min(top + kTile, pixels.rows());
        for (DWORD row = top; row < bottom; ++row) add_texture(row, textures.get());
        for (DWORD i = 0; i < tiles_across_; ++i) {
            const DWORD across = std::min(kTile, pixels.width() - i * kTile);
            halftone_[tile(i * kTile, top)] = textures[i].is_halftone(across * (bottom - top));
        }
    }
    return TRUE;
}

// A drawing has few dots, and few edges in one direction at least. An even tint of 2 % has a dot in 50 pixels, one of
// 50 % a change of colour at every pixel or, of coarse dots, at every eighth.
bool MonoRows::Texture::is_halftone(DWORD pixels) const {
    return alone * 64 > pixels || std::min(across, down) * 8 > pixels;
}

void MonoRows::add_texture(DWORD row, Texture* textures) {
    const BYTE *above = dark_row(row - 1), *here = dark_row(row), *below = dark_row(row + 1);
    for (DWORD i = 0; i < row_bytes(); ++i) {
        const Around around(above + i, here + i, below + i);
        Texture& texture = textures[i * 8 / kTile];
        KV_ASSERT(i * 8 / kTile < tiles_across_);
        texture.alone += static_cast<DWORD>(std::popcount(around.alone()));
        texture.across += static_cast<DWORD>(std::popcount((around.here ^ around.left) & 0xFF));
        texture.down += static_cast<DWORD>(std::popcount((around.here ^ around.up) & 0xFF));
    }
}

const BYTE* MonoRows::dark_row(DWORD row) {
    if (row >= pixels_->rows()) return light_.get() + 1;  // also above the first
    DarkRow& dark = dark_[row % 4];
    BYTE* bytes = dark.bytes.get() + 1;
    if (dark.row == row) return bytes;
    dark.row = row;
    const BYTE* stored = pixels_->stored_row(row);
    const DWORD count = row_bytes(), rest = pixels_->width() % 8;
    for (DWORD i = 0; i < count; ++i) bytes[i] = static_cast<BYTE>(stored[i] ^ inverted_);
    if (rest) bytes[count - 1] = static_cast<BYTE>(bytes[count - 1] & 0xFF00 >> rest);
    return bytes;
}

void MonoRows::weigh(DWORD row, BYTE* weights) {
    KV_ASSERT(row < pixels_->rows());
    const BYTE *above = dark_row(row - 1), *here = dark_row(row), *below = dark_row(row + 1);
    for (DWORD i = 0; i < row_bytes(); ++i) {
        const Around around(above + i, here + i, below + i);
        uint64_t eight = spread(around.here);
        if (!is_halftone(i * 8, row)) eight += spread(around.thin());
        std::memcpy(weights + size_t{i} * 8, &eight, sizeof eight);
    }
}

}  // namespace kv
