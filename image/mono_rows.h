#pragma once
// The rows of a 1-bit image for downsampling: which pixels are dark, and which belong to strokes of their colour.

#include "image/pixels.h"
#include "image/strokes.h"

namespace kv {

class MonoRows {
public:
    // What a row says of each pixel, a byte in each of these planes.
    enum Plane : DWORD {
        kDark,       // 1 for a dark pixel
        kLine,       // 1 for a dark pixel in a stroke, or 2 where the stroke is one pixel wide
        kDarkDots,   // 1 for a dark pixel in no stroke
        kLightDots,  // 1 for a light pixel in no stroke
        kPlanes
    };

    // `dark` is the index of the darker colour. FALSE when memory is out.
    BOOL open(const PixelReader& pixels, DWORD dark);
    // Of a plane, in bytes: the width rounded up.
    DWORD plane_size() const { return words_ * 32; }
    // Fills the planes one after another. `row` is that of the call before, or the next one. Whether lines of one
    // pixel count twice.
    void read(DWORD row, bool doubled, BYTE* planes);

private:
    void push(DWORD row);

    const PixelReader* pixels_ = nullptr;
    DWORD inverted_ = 0;
    DWORD words_ = 0;
    DWORD pushed_ = 0;
    HeapArray<DWORD> rows_;  // a dark and a light one
    Strokes dark_, light_;
};

}  // namespace kv
