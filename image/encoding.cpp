#include "image/encoding.h"

#include "support/trace.h"

namespace kv {
namespace {

constexpr DWORD kMinJpegBytes = 1024;                   // below, a JPEG's tables outweigh what it saves
constexpr LONG kMaxJpegSide = 65500;                    // the JPEG library takes no more pixels in a row or column
constexpr LONG kMinRle8Width = 11, kMinRle4Width = 21;  // pixels: rows of 11 bytes, below which codes outweigh runs

bool is_plain(const BITMAPINFOHEADER& header, WORD bit_count) {
    return header.biCompression == BI_RGB && header.biBitCount == bit_count;
}

}  // namespace

bool IsJpegCandidate(const DibView& dib) {
    const BITMAPINFOHEADER& header = *dib.header;
    if (!is_plain(header, 8) && !is_plain(header, 24)) return false;
    // Its rows would have to be turned, and a sized record cannot be taken back once the library refuses.
    if (header.biHeight < 0 || header.biHeight > kMaxJpegSide || header.biWidth > kMaxJpegSide) return false;
    // The product is that of 32-bit arithmetic.
    const DWORD size = static_cast<DWORD>(header.biHeight) * static_cast<DWORD>(dib_stride(header));
    return size >= kMinJpegBytes && (header.biBitCount == 24 || has_gray_ramp(dib));
}

BitmapEncoding SelectBitmapEncoding(const PrivateDevMode& settings, const DibView& dib) {
    const BITMAPINFOHEADER& header = *dib.header;
    BitmapEncoding encoding = BitmapEncoding::Plain;
    if ((settings.Compression & kCompressJpeg) && IsJpegCandidate(dib)) {
        encoding = BitmapEncoding::Jpeg;
    } else if (settings.Compression & kCompressRunLength) {
        if (is_plain(header, 8) && header.biWidth >= kMinRle8Width) encoding = BitmapEncoding::Rle8;
        if (is_plain(header, 4) && header.biWidth >= kMinRle4Width) encoding = BitmapEncoding::Rle4;
    }
    static constexpr const char* kNames[] = {"plain", "JPEG", "run lengths of 8 bits", "run lengths of 4 bits"};
    KV_TRACE(Image, Info, "%d x %d, %u bits: %s", static_cast<int>(header.biWidth), static_cast<int>(header.biHeight),
             header.biBitCount, kNames[static_cast<size_t>(encoding)]);
    return encoding;
}

}  // namespace kv
