// Colour reduction: the colours of an image, each once, become the table of a shallower one.

#include <algorithm>
#include <cstring>

#include "image/pixels.h"
#include "image/prepare.h"
#include "support/assert.h"
#include "support/memory.h"
#include "support/trace.h"

namespace kv {
namespace {

constexpr DWORD kMostColors = 256;  // that a table holds
constexpr DWORD kChunk = 1024;      // pixels handled at a time
static_assert(kChunk % 8 == 0, "a chunk begins with a whole byte");

// Up to 256 colours in order of appearance, found by hash.
class ColorSet {
public:
    // The colour's index, or kMostColors when there is no room for it.
    DWORD add(DWORD color) {
        DWORD slot = color * 0x9E3779B1u >> (32 - kSlotBits);
        while (slots_[slot].index_plus_1 != 0 && slots_[slot].color != color) slot = (slot + 1) % kSlots;
        if (slots_[slot].index_plus_1 == 0) {
            if (count_ == kMostColors) return kMostColors;
            colors_[count_++] = color;
            slots_[slot] = {color, count_};
        }
        KV_ASSERT(slots_[slot].index_plus_1 <= count_ && count_ <= kMostColors);
        return slots_[slot].index_plus_1 - 1;
    }
    DWORD count() const { return count_; }
    const DWORD* colors() const { return colors_; }

private:
    static constexpr DWORD kSlotBits = 10, kSlots = 1 << kSlotBits;
    static_assert(kSlots >= 2 * kMostColors, "searches end at a free slot, soon");
    struct Slot {
        DWORD color, index_plus_1;
    };
    Slot slots_[kSlots] = {};
    DWORD colors_[kMostColors];
    DWORD count_ = 0;
};

// Calls visit(row, first pixel, count, colours) for all pixels, until it returns false.
template <class Visit>
bool for_each_chunk(const PixelReader& pixels, Visit visit) {
    DWORD colors[kChunk];
    for (DWORD row = 0; row < pixels.rows(); ++row) {
        for (DWORD first = 0; first < pixels.width(); first += kChunk) {
            const DWORD count = std::min(kChunk, pixels.width() - first);
            pixels.read(row, first, count, colors);
            if (!visit(row, first, count, colors)) return false;
        }
    }
    return true;
}

// False when there are more than `most`.
bool collect_colors(const PixelReader& pixels, DWORD most, ColorSet& set) {
    DWORD last = ~0u;  // no colour
    return for_each_chunk(pixels, [&](DWORD, DWORD, DWORD count, const DWORD* colors) {
        for (DWORD x = 0; x < count; ++x) {
            if (colors[x] == last) continue;
            last = colors[x];
            if (set.add(last) >= most) return false;
        }
        return true;
    });
}

void map_colors(ColorSet& set, const DWORD* colors, DWORD count, BYTE* indices) {
    KV_ASSERT(count > 0 && count <= kChunk);
    DWORD last = colors[0];
    BYTE index = static_cast<BYTE>(set.add(last));
    for (DWORD x = 0; x < count; ++x) {
        if (colors[x] != last) {
            last = colors[x];
            index = static_cast<BYTE>(set.add(last));
        }
        indices[x] = index;
    }
}

// The indices after the last are 0.
void pack_indices(const BYTE* indices, DWORD count, WORD bit_count, BYTE* to) {
    if (bit_count == 8) {
        std::memcpy(to, indices, count);
    } else if (bit_count == 4) {
        for (DWORD x = 0; x < count; x += 2) *to++ = static_cast<BYTE>(indices[x] << 4 | indices[x + 1]);
    } else {
        for (DWORD x = 0; x < count; x += 8) {
            DWORD byte = 0;
            for (DWORD i = 0; i < 8; ++i) byte = byte << 1 | indices[x + i];
            *to++ = static_cast<BYTE>(byte);
        }
    }
}

// 4 bytes at a time, of which the next pixel overwrites one.
void pack_bgr24(const DWORD* colors, DWORD count, BYTE* to) {
    for (DWORD x = 0; x + 1 < count; ++x, to += 3) std::memcpy(to, colors + x, sizeof(DWORD));
    std::memcpy(to, colors + count - 1, 3);
}

void convert(const PixelReader& pixels, ColorSet& set, PackedDib& result) {
    const WORD bit_count = result.header().biBitCount;
    const auto stride = static_cast<size_t>(dib_stride(result.header()));
    BYTE* const bits = result.bits();
    for_each_chunk(pixels, [&](DWORD row, DWORD first, DWORD count, const DWORD* colors) {
        BYTE* to = bits + row * stride + size_t{first} * bit_count / 8;
        if (bit_count == 24) {
            pack_bgr24(colors, count, to);
        } else {
            BYTE indices[kChunk + 8];
            map_colors(set, colors, count, indices);
            std::fill_n(indices + count, 8, BYTE{0});
            pack_indices(indices, count, bit_count, to);
        }
        return true;
    });
}

// How many colours a depth holds that is below the source's.
DWORD most_colors(WORD source_bits) { return source_bits <= 4 ? 2 : source_bits <= 8 ? 16 : kMostColors; }

WORD depth_for(DWORD colors) { return colors < 3 ? 1 : colors <= 16 ? 4 : 8; }

}  // namespace

BOOL ReduceColorDepth(const DibView& source, PackedDib& result) {
    result.reset();
    const BITMAPINFOHEADER& header = *source.header;
    PixelReader pixels;
    if (header.biBitCount < 4 || !pixels.open(source)) return FALSE;
    ColorSet set;
    const bool few = collect_colors(pixels, most_colors(header.biBitCount), set);
    // Pixels of 16 bits are always converted: readers of jobs need not know their fields. Those of 32 bits lose a byte.
    if (!few && header.biBitCount != 16 && header.biBitCount != 32) return FALSE;
    const WORD depth = few ? depth_for(set.count()) : WORD{24};
    if (!result.create(dib_header(header.biWidth, header.biHeight, depth), kQuietly)) return FALSE;
    KV_TRACE(Image, Info, "from %u to %u bits, %u colours%s", header.biBitCount, depth,
             static_cast<unsigned>(set.count()), few ? "" : " and more");
    KV_ASSERT(depth > 8 || set.count() <= 1u << depth);
    if (depth <= 8) std::copy_n(set.colors(), set.count(), result.table());
    convert(pixels, set, result);
    return TRUE;
}

}  // namespace kv
