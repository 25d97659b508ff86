#pragma once
// Bitmaps of applications as the graphics engine hands them to a driver: the sources, masks and patterns of
// transfers, and what a driver's surface is read back into.

#include <vector>

#include "platform/ddi.h"

namespace kv::engine {

enum class RowOrder { TopDown, BottomUp };

class Bitmap : public SURFOBJ {
public:
    // All bits 0. format: BMF_1BPP to BMF_32BPP; rows are padded to whole 32-bit words.
    Bitmap(ULONG format, LONG width, LONG height, RowOrder order = RowOrder::TopDown);
    // Run-length encoded bits, BMF_4RLE or BMF_8RLE, always bottom-up.
    Bitmap(ULONG format, LONG width, LONG height, std::vector<BYTE> encoded);
    Bitmap(const Bitmap&) = delete;
    Bitmap& operator=(const Bitmap&) = delete;

    LONG width() const { return sizlBitmap.cx; }
    LONG height() const { return sizlBitmap.cy; }
    // Bytes from a row to the next one in memory.
    ULONG stride() const { return static_cast<ULONG>(lDelta < 0 ? -lDelta : lDelta); }
    // Rows are counted from the top, whatever their order in memory.
    BYTE* row(LONG y) { return static_cast<BYTE*>(pvScan0) + ptrdiff_t{y} * lDelta; }
    // A pixel's bits: an index, or a colour with the first byte low.
    void set_pixel(LONG x, LONG y, ULONG value);
    ULONG pixel(LONG x, LONG y);

private:
    std::vector<BYTE> bits_;
};

// 0 for run-length encoded and unknown formats.
int bits_per_pixel(ULONG format);

}  // namespace kv::engine
