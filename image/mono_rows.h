#pragma once
// The rows of a 1-bit image for downsampling. In a drawing, lines must not get lost; in a halftone (a picture of
// scattered dots) darkness counts and nothing else. Each tile of the image is one or the other.

#include "image/pixels.h"
#include "support/memory.h"

namespace kv {

class MonoRows {
public:
    // The image's rows of pixels, to become `new_width` wide. `dark` is the index of the darker colour. FALSE when
    // memory is out.
    BOOL open(const PixelReader& pixels, DWORD dark, DWORD new_width);
    // A byte a pixel: 0 light, kDark dark, and up to twice as much dark in a line of one pixel in a drawing. Takes
    // width rounded up to 32.
    static constexpr BYTE kDark = 8;
    void weigh(DWORD row, BYTE* weights);
    // 0 in a drawing. In a halftone, the darkness of 256 from which on a pixel is dark, for errors that are spread: so
    // far from the darkness around that these are zero on the average and a tint is a tint from its first row on.
    int threshold(DWORD x, DWORD row) const { return thresholds_[tile(x, row)]; }

    static constexpr DWORD kTile = 32;  // pixels a side: enough dots to tell a halftone from a drawing

private:
    static_assert(kTile == 8 * sizeof(DWORD));
    // A row's dark pixels as ones, the leftmost in the highest bit, with a light word before and behind.
    struct DarkRow {
        HeapArray<DWORD> words;
        DWORD row = ~0u;
    };
    // What is counted in a tile.
    struct Texture {
        DWORD dark;                   // pixels
        DWORD solid;                  // squares of two by two dark pixels
        DWORD across, down;           // changes of colour along its rows and columns
        DWORD dark_ends, light_ends;  // pixels with at most one neighbour of their colour
        int corners;                  // 4 for each dot and -4 for each hole, with what its edge cuts off
        DWORD rows, columns;          // rows that have dark pixels; a bit for each column that has
        void add(const DWORD* above, const DWORD* here, const DWORD* below);
        bool has_round_dots(DWORD area) const;
        bool is_halftone(DWORD pixels, DWORD from, DWORD to) const;
    };

    BOOL choose_doubled(DWORD new_width);
    const DWORD* dark_row(DWORD row);
    DWORD row_words() const { return (pixels_->width() + kTile - 1) / kTile; }
    size_t tile(DWORD x, DWORD row) const { return size_t{row / kTile} * row_words() + x / kTile; }

    const PixelReader* pixels_ = nullptr;
    DWORD inverted_ = 0;
    HeapArray<DWORD> doubled_;  // of a row: columns whose lines count twice, and not a little less
    HeapArray<BYTE> thresholds_;
    HeapArray<DWORD> light_;
    DarkRow dark_[4];
};

}  // namespace kv
