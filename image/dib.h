#pragma once
// Packed device-independent bitmaps: a BITMAPINFOHEADER, the colour table or bit-field masks directly behind it, and
// rows of pixels, each padded to 4 bytes. A positive height means bottom-up rows, a negative one top-down rows.

#include <cstdint>

#include "platform/win32.h"
#include "support/global_obj.h"

namespace kv {

// The head (header and colour table) of any bitmap of 8 bits per pixel or less with a 40-byte header fits.
inline constexpr DWORD kMaxDibHead = sizeof(BITMAPINFOHEADER) + 256 * sizeof(DWORD);
// No packed bitmap is larger: positions in a job are signed 32-bit.
inline constexpr uint64_t kMaxDibSize = 0x7FFFFFFF;

// Sizes in bytes, computed in 64 bits for any header; what does not fit even there is UINT64_MAX.
uint64_t dib_stride(LONG width, WORD bit_count);  // 0 for a width below 1
inline uint64_t dib_stride(const BITMAPINFOHEADER& header) { return dib_stride(header.biWidth, header.biBitCount); }
uint64_t dib_head_size(const BITMAPINFOHEADER& header);
// |height| x stride when the rows are stored plainly, else biSizeImage.
uint64_t dib_bits_size(const BITMAPINFOHEADER& header);
uint64_t dib_size(const BITMAPINFOHEADER& header);

// A 40-byte header of one plane, BI_RGB.
BITMAPINFOHEADER dib_header(LONG width, LONG height, WORD bit_count);

// Rows stored plainly, without run-length or other encoding.
inline bool has_plain_rows(const BITMAPINFOHEADER& header) {
    return header.biCompression == BI_RGB || header.biCompression == BI_BITFIELDS;
}

// What becomes of the fourth byte of 32-bit pixels.
enum class Alpha { Drop, Keep };

// A bitmap that somebody else owns. Behind the header stand dib_head_size bytes in all, and at `bits` stand
// dib_bits_size bytes.
struct DibView {
    const BITMAPINFOHEADER* header = nullptr;
    const BYTE* bits = nullptr;

    const BYTE* table() const { return reinterpret_cast<const BYTE*>(header) + header->biSize; }
    // Entry of the colour table or mask, 0x00RRGGBB.
    DWORD color(DWORD index) const;
};

// 8 bits per pixel, and colour i of the table is exactly i x 0x010101 (compared as 32 bits).
bool has_gray_ramp(const DibView& dib);

// Owns a packed bitmap in one block of movable memory.
class PackedDib {
public:
    // The header, and a table, masks and bits of zeros. Replaces what is held. FALSE, and nothing held, for a header
    // of less than 40 bytes, sizes below 1 x 1 (any sign of the height), above kMaxDibSize, and when memory is out,
    // which is reported under the operation's name.
    BOOL create(const BITMAPINFOHEADER& header, const WCHAR* operation = CGlobalObj::kAlloc);
    BOOL copy(const DibView& source);
    void reset() { block_.free(); }

    explicit operator bool() const { return block_.data() != nullptr; }
    BITMAPINFOHEADER& header() { return *reinterpret_cast<BITMAPINFOHEADER*>(block_.data()); }
    const BITMAPINFOHEADER& header() const { return *reinterpret_cast<const BITMAPINFOHEADER*>(block_.data()); }
    // Colour table or masks.
    DWORD* table() { return reinterpret_cast<DWORD*>(block_.data() + header().biSize); }
    BYTE* bits() { return block_.data() + dib_head_size(header()); }
    const BYTE* bits() const { return block_.data() + dib_head_size(header()); }
    // All of it, `size` bytes.
    const BYTE* data() const { return block_.data(); }
    DWORD size() const { return block_.used(); }
    DibView view() const { return {&header(), bits()}; }

private:
    CGlobalObj block_;
};

}  // namespace kv
