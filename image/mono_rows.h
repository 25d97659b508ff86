#pragma once
// The rows of a 1-bit image for downsampling. In a drawing, lines must not get lost; in a halftone (a picture of
// scattered dots) darkness counts and nothing else.

#include "image/pixels.h"
#include "support/memory.h"

namespace kv {

class MonoRows {
public:
    // `dark` is the index of the darker colour. FALSE when memory is out.
    BOOL open(const PixelReader& pixels, DWORD dark);
    // A byte a pixel: 0 light, 1 dark, 2 dark in a line of one pixel outside halftones. Takes width rounded up to 8.
    void weigh(DWORD row, BYTE* weights);
    bool is_halftone(DWORD x, DWORD row) const { return halftone_[tile(x, row)] != 0; }

private:
    // Bytes of a row whose dark pixels are ones, with a light byte before and behind.
    struct DarkRow {
        HeapArray<BYTE> bytes;
        DWORD row = ~0u;
    };
    const BYTE* dark_row(DWORD row);
    DWORD row_bytes() const { return (pixels_->width() + 7) / 8; }
    size_t tile(DWORD x, DWORD row) const { return size_t{row / kTile} * tiles_across_ + x / kTile; }
    // Of a tile: pixels without a neighbour of their colour, and changes of colour along its rows and columns.
    struct Texture {
        DWORD alone, across, down;
        bool is_halftone(DWORD pixels) const;
    };
    void add_texture(DWORD row, Texture* textures);

    static constexpr DWORD kTile = 32;  // pixels a side: enough dots to tell a halftone from a drawing
    static_assert(kTile % 8 == 0);
    const PixelReader* pixels_ = nullptr;
    BYTE inverted_ = 0;
    DWORD tiles_across_ = 0;
    HeapArray<BYTE> halftone_;
    HeapArray<BYTE> light_;
    DarkRow dark_[4];
};

}  // namespace kv
