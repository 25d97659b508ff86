#include "image/dib.h"

#include <cstdlib>
#include <cstring>
#include <limits>

#include "support/assert.h"
#include "support/trace.h"

namespace kv {
namespace {

constexpr uint64_t kTooLarge = std::numeric_limits<uint64_t>::max();

uint64_t row_count(const BITMAPINFOHEADER& header) { return std::abs(int64_t{header.biHeight}); }

}  // namespace

uint64_t dib_stride(LONG width, WORD bit_count) {
    return width < 1 ? 0 : (uint64_t{static_cast<DWORD>(width)} * bit_count + 31) / 32 * 4;
}

uint64_t dib_head_size(const BITMAPINFOHEADER& header) {
    constexpr DWORD kMasks = 3 * sizeof(DWORD);
    if (header.biBitCount <= 8) return uint64_t{header.biSize} + (sizeof(DWORD) << header.biBitCount);
    const bool masks_follow = header.biSize == sizeof(BITMAPINFOHEADER) && header.biCompression == BI_BITFIELDS;
    return uint64_t{header.biSize} + (masks_follow ? kMasks : 0);
}

uint64_t dib_bits_size(const BITMAPINFOHEADER& header) {
    if (!has_plain_rows(header)) return header.biSizeImage;
    const uint64_t stride = dib_stride(header), rows = row_count(header);
    return rows != 0 && stride > kTooLarge / rows ? kTooLarge : rows * stride;
}

uint64_t dib_size(const BITMAPINFOHEADER& header) {
    const uint64_t head = dib_head_size(header), bits = dib_bits_size(header);
    return bits > kTooLarge - head ? kTooLarge : head + bits;
}

BITMAPINFOHEADER dib_header(LONG width, LONG height, WORD bit_count) {
    BITMAPINFOHEADER header = {};
    header.biSize = sizeof header;
    header.biWidth = width;
    header.biHeight = height;
    header.biPlanes = 1;
    header.biBitCount = bit_count;
    return header;
}

DWORD DibView::color(DWORD index) const {
    KV_ASSERT(index < (header->biBitCount <= 8 ? 1u << header->biBitCount : 3u));
    DWORD entry;
    std::memcpy(&entry, table() + size_t{index} * sizeof entry, sizeof entry);
    return entry;
}

bool has_gray_ramp(const DibView& dib) {
    if (dib.header->biBitCount != 8) return false;
    for (DWORD level = 0; level < 256; ++level) {
        if (dib.color(level) != level * 0x010101) return false;
    }
    return true;
}

BOOL PackedDib::create(const BITMAPINFOHEADER& header, const WCHAR* operation) {
    reset();
    const uint64_t size = dib_size(header);
    if (header.biSize < sizeof header || header.biWidth < 1 || header.biHeight == 0 || size > kMaxDibSize) {
        return KV_FAIL(Image, "%d x %d of %u bits cannot be", static_cast<int>(header.biWidth),
                       static_cast<int>(header.biHeight), header.biBitCount);
    }
    if (!block_.Alloc(static_cast<DWORD>(size), GMEM_MOVEABLE | GMEM_ZEROINIT, 0, operation)) return FALSE;
    block_.set_used(static_cast<DWORD>(size));
    this->header() = header;
    KV_ASSERT(bits() <= data() + block_.used());
    return TRUE;
}

BOOL PackedDib::copy(const DibView& source) {
    const BITMAPINFOHEADER& from = *source.header;
    if (!create(from)) return FALSE;
    const auto head_size = static_cast<DWORD>(dib_head_size(from));
    KV_ASSERT(head_size <= kMaxDibHead && size() - head_size == dib_bits_size(from));
    std::memcpy(&header(), &from, head_size);
    std::memcpy(bits(), source.bits, size() - head_size);
    return TRUE;
}

}  // namespace kv
