#include "image/pixels.h"

#include <bit>
#include <cstdlib>
#include <cstring>

#include "support/assert.h"
#include "support/trace.h"

namespace kv {
namespace {

template <class T>
T load(const BYTE* from) {
    T value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

DWORD load_24(const BYTE* from) { return DWORD{load<WORD>(from)} | DWORD{from[2]} << 16; }

void read_index1(const BYTE* row, DWORD count, const DWORD* palette, DWORD* colors) {
    for (DWORD x = 0; x < count; ++x) colors[x] = palette[row[x / 8] >> (7 - x % 8) & 1];
}

void read_index4(const BYTE* row, DWORD count, const DWORD* palette, DWORD* colors) {
    DWORD x = 0;
    for (; x + 1 < count; x += 2, ++row) {
        colors[x] = palette[*row >> 4];
        colors[x + 1] = palette[*row & 15];
    }
    if (x < count) colors[x] = palette[*row >> 4];
}

void read_index8(const BYTE* row, DWORD count, const DWORD* palette, DWORD* colors) {
    for (DWORD x = 0; x < count; ++x) colors[x] = palette[row[x]];
}

// All but the last pixel as 4 bytes, of which one too many.
void read_bgr24(const BYTE* row, DWORD count, DWORD* colors) {
    DWORD x = 0;
    for (; x + 1 < count; ++x) colors[x] = load<DWORD>(row + size_t{x} * 3) & 0xFFFFFF;
    if (x < count) colors[x] = load_24(row + size_t{x} * 3);
}

void read_bgr32(const BYTE* row, DWORD count, DWORD* colors) {
    for (DWORD x = 0; x < count; ++x) colors[x] = load<DWORD>(row + size_t{x} * 4) & 0xFFFFFF;
}

}  // namespace

// At least 8 bits come of repeating a shorter field; of a longer one the upper 8 count.
bool PixelReader::Field::set(DWORD bits) {
    *this = {};
    if (bits == 0) return true;
    const DWORD size = static_cast<DWORD>(std::popcount(bits));
    shift = static_cast<DWORD>(std::countr_zero(bits));
    if (size != 32 - static_cast<DWORD>(std::countl_zero(bits)) - shift) return false;
    repeat = 1;
    if (size > 8) {
        shift += size - 8;
        mask = 0xFF;
        return true;
    }
    mask = (1u << size) - 1;
    DWORD width = size;
    for (; width < 8; width += size) repeat = repeat << size | 1;
    excess = width - 8;
    KV_ASSERT(excess < size && (mask * repeat >> excess) <= 0xFF);
    return true;
}

bool PixelReader::set_masks(DWORD red, DWORD green, DWORD blue, DWORD alpha) {
    return fields_[0].set(blue) && fields_[1].set(green) && fields_[2].set(red) && fields_[3].set(alpha);
}

bool PixelReader::read_masks(const DibView& dib, Alpha alpha) {
    const BITMAPINFOHEADER& header = *dib.header;
    const bool keep = alpha == Alpha::Keep && header.biBitCount == 32;
    if (header.biCompression == BI_RGB) {
        if (header.biBitCount == 16) {
            kind_ = Kind::Masked16;
            return set_masks(0x7C00, 0x3E0, 0x1F, 0);
        }
        kind_ = header.biBitCount == 24 ? Kind::Bgr24 : Kind::Bgr32;
        return true;
    }
    // Masks follow a 40-byte header, and are fields of longer ones at the same place.
    DWORD masks[3];
    if (header.biSize != sizeof header && header.biSize < sizeof header + sizeof masks) return false;
    std::memcpy(masks, reinterpret_cast<const BYTE*>(dib.header) + sizeof header, sizeof masks);
    const DWORD rest = ~(masks[0] | masks[1] | masks[2]);
    const bool standard = masks[0] == 0xFF0000 && masks[1] == 0xFF00 && masks[2] == 0xFF;
    kind_ = header.biBitCount == 16 ? Kind::Masked16 : header.biBitCount == 24 ? Kind::Masked24 : Kind::Masked32;
    if (standard && kind_ == Kind::Masked24) kind_ = Kind::Bgr24;
    if (standard && kind_ == Kind::Masked32) kind_ = Kind::Bgr32;
    return set_masks(masks[0], masks[1], masks[2], keep ? rest : 0);
}

BOOL PixelReader::open(const DibView& dib, Alpha alpha) {
    const BITMAPINFOHEADER& header = *dib.header;
    if (!has_plain_rows(header) || header.biSize < sizeof header || header.biWidth < 1 || header.biHeight == 0 ||
        dib_size(header) > kMaxDibSize) {
        return KV_FAIL(Image, "%d x %d of compression %u are not read", static_cast<int>(header.biWidth),
                       static_cast<int>(header.biHeight), static_cast<unsigned>(header.biCompression));
    }
    width_ = static_cast<DWORD>(header.biWidth);
    rows_ = static_cast<DWORD>(std::abs(header.biHeight));
    stride_ = static_cast<DWORD>(dib_stride(header));
    bits_ = dib.bits;
    KV_ASSERT(bits_ && uint64_t{stride_} * rows_ == dib_bits_size(header));
    switch (header.biBitCount) {
        case 1:
            kind_ = Kind::Index1;
            break;
        case 4:
            kind_ = Kind::Index4;
            break;
        case 8:
            kind_ = Kind::Index8;
            break;
        case 16:
        case 24:
        case 32:
            return read_masks(dib, alpha) || KV_FAIL(Image, "masks that are no fields");
        default:
            return KV_FAIL(Image, "%u bits are not read", header.biBitCount);
    }
    for (DWORD i = 0; i < 1u << header.biBitCount; ++i) palette_[i] = dib.color(i) & 0xFFFFFF;
    return TRUE;
}

void PixelReader::read(DWORD row, DWORD first, DWORD count, DWORD* colors) const {
    const BYTE* from = stored_row(row);
    KV_ASSERT(first % 8 == 0 && first + count <= width_);
    switch (kind_) {
        case Kind::Index1:
            return read_index1(from + first / 8, count, palette_, colors);
        case Kind::Index4:
            return read_index4(from + first / 2, count, palette_, colors);
        case Kind::Index8:
            return read_index8(from + first, count, palette_, colors);
        case Kind::Bgr24:
            return read_bgr24(from + size_t{first} * 3, count, colors);
        case Kind::Bgr32:
            return read_bgr32(from + size_t{first} * 4, count, colors);
        case Kind::Masked16:
            for (DWORD x = 0; x < count; ++x) colors[x] = masked(load<WORD>(from + (size_t{first} + x) * 2));
            return;
        case Kind::Masked24:
            for (DWORD x = 0; x < count; ++x) colors[x] = masked(load_24(from + (size_t{first} + x) * 3));
            return;
        case Kind::Masked32:
            for (DWORD x = 0; x < count; ++x) {
                const DWORD pixel = load<DWORD>(from + (size_t{first} + x) * 4);
                colors[x] = masked(pixel) | fields_[3].of(pixel) << 24;
            }
            return;
    }
}

}  // namespace kv
