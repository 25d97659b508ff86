#pragma once
// Packed device-independent bitmaps: a BITMAPINFOHEADER, its colour table or its three masks, and the rows.

#include <array>
#include <vector>

#include "reader/bytes.h"

namespace kvjob {

enum class DibCompression : uint32_t { None = 0, Rle8 = 1, Rle4 = 2, Masks = 3 };

struct Dib {
    int32_t width, height;  // pixels
    bool top_down;          // else the last row stands first
    int depth;              // bits a pixel: 1, 4, 8, 16, 24 or 32
    DibCompression compression;
    std::vector<uint32_t> palette;  // 0x00RRGGBB; 2^depth entries where depth is at most 8
    std::array<uint32_t, 3> masks;  // red, green, blue, where it is more
    size_t table_size;              // bytes of header and table
    Bytes bits;

    bool encoded() const { return compression == DibCompression::Rle8 || compression == DibCompression::Rle4; }
    uint64_t stride() const { return (uint64_t{static_cast<uint32_t>(width)} * depth + 31) / 32 * 4; }  // not encoded
    uint64_t unencoded_size() const { return table_size + stride() * static_cast<uint32_t>(height); }
};

// A bitmap that fills its bytes. Throws BodyFault.
Dib read_dib(Bytes packed);

// The pixels of a row, counted from the top, of a bitmap that is not encoded. Palette indices, one a byte, where the
// depth is at most 8; else 0xAARRGGBB with what a pixel of 32 bits holds beside its colour, or 255.
void read_indices(const Dib& dib, int32_t row, std::vector<uint8_t>& indices);
void read_colours(const Dib& dib, int32_t row, std::vector<uint32_t>& colours);

}  // namespace kvjob
