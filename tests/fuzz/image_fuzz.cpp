// Any bitmap through colour reduction, downsampling and the encoders: nothing is read beyond it, reduction and
// run-length encoding lose nothing, averages stay within the source's range, and JPEG streams decode to its size.

// clang-format off
#include <cstdio>  // what jpeglib.h takes for granted
#include <jpeglib.h>
// clang-format on

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "image/encoding.h"
#include "image/pixels.h"
#include "image/prepare.h"
#include "tests/fuzz/fuzz_input.h"

namespace kv {
namespace {

struct Source {
    BITMAPINFOHEADER header = {};
    std::unique_ptr<BYTE[]> head, bits;  // of exactly their size
    DibView view() const { return {reinterpret_cast<const BITMAPINFOHEADER*>(head.get()), bits.get()}; }
};

void make_source(FuzzInput& in, Source& source) {
    static constexpr DWORD kSizes[] = {40, 40, 40, 52, 64, 108, 124, 41};
    static constexpr WORD kBits[] = {1, 4, 8, 16, 24, 32, 2, 15};
    static constexpr DWORD kCompressions[] = {BI_RGB, BI_RGB, BI_BITFIELDS, BI_RLE8, BI_RLE4};
    BITMAPINFOHEADER& header = source.header;
    header = dib_header(static_cast<LONG>(in.u16() % 640), static_cast<LONG>(in.u8() % 64) - 8, in.pick(kBits));
    header.biSize = in.pick(kSizes);
    header.biCompression = in.pick(kCompressions);
    header.biSizeImage = in.u16();
    header.biXPelsPerMeter = header.biYPelsPerMeter = static_cast<LONG>(in.u16());
    const uint64_t head_size = dib_head_size(header), bits_size = dib_bits_size(header);
    const bool gray = in.u8() % 2 != 0, standard = in.u8() % 2 != 0;
    source.head.reset(new BYTE[head_size]());
    source.bits.reset(new BYTE[bits_size]());
    in.fill(source.head.get(), head_size);
    in.fill(source.bits.get(), bits_size);
    std::memcpy(source.head.get(), &header, sizeof header);
    if (gray && header.biBitCount == 8) {
        for (DWORD i = 0; i < 256; ++i) {
            const DWORD level = i * 0x010101;
            std::memcpy(source.head.get() + header.biSize + i * 4, &level, sizeof level);
        }
    }
    if (standard && header.biCompression == BI_BITFIELDS && head_size >= 52) {
        static constexpr DWORD kMasks[] = {0xFF, 0xFF00, 0xFF0000};
        std::memcpy(source.head.get() + 40, kMasks, sizeof kMasks);
    }
}

std::vector<DWORD> colors_of(const DibView& dib, Alpha alpha = Alpha::Drop) {
    PixelReader pixels;
    require(pixels.open(dib, alpha));
    std::vector<DWORD> colors(size_t{pixels.width()} * pixels.rows());
    for (DWORD row = 0; row < pixels.rows(); ++row) {
        DWORD* to = colors.data() + size_t{row} * pixels.width();
        if (alpha == Alpha::Keep && pixels.is_stored_bgrx()) {  // such rows are taken as they are
            std::memcpy(to, pixels.stored_row(row), size_t{pixels.width()} * sizeof(DWORD));
        } else {
            pixels.read(row, 0, pixels.width(), to);
        }
    }
    return colors;
}

void check_reduction(const DibView& dib) {
    PackedDib result;
    if (ReduceColorDepth(dib, result)) require(colors_of(result.view()) == colors_of(dib));
}

void check_downsampling(const DibView& dib, LONG source, LONG target, Alpha alpha) {
    PackedDib result;
    if (!DownsampleDib(dib, source, target, result, alpha)) return;
    require(result.size() < dib_size(*dib.header) && result.header().biHeight > 0);
    const auto before = colors_of(dib, alpha), after = colors_of(result.view(), alpha);
    for (int shift : {0, 8, 16, 24}) {
        const auto less = [&](DWORD a, DWORD b) { return (a >> shift & 0xFF) < (b >> shift & 0xFF); };
        const auto [least, most] = std::ranges::minmax_element(before, less);
        for (DWORD color : after) require(!less(color, *least) && !less(*most, color));
    }
}

BOOL collect(const void* data, DWORD size, void* context) {
    auto* bytes = static_cast<std::vector<BYTE>*>(context);
    const BYTE* from = static_cast<const BYTE*>(data);
    bytes->insert(bytes->end(), from, from + size);
    return TRUE;
}

// The pixels of one encoded row, each in a byte; moves behind the row's end.
std::vector<BYTE> decode_row(const std::vector<BYTE>& encoded, size_t& at, DWORD bits) {
    std::vector<BYTE> pixels;
    const auto pixel = [&](size_t from, DWORD index) {
        if (bits == 8) return encoded.at(from + index);
        const BYTE pair = encoded.at(from + index / 2);
        return static_cast<BYTE>(index % 2 ? pair & 15 : pair >> 4);
    };
    for (;;) {
        const DWORD count = encoded.at(at), value = encoded.at(at + 1);
        at += 2;
        if (count == 0 && value == 0) return pixels;
        if (count == 0) {
            require(value >= 3);
            for (DWORD i = 0; i < value; ++i) pixels.push_back(pixel(at, i));
            const DWORD bytes = (value * bits + 7) / 8;
            at += bytes + bytes % 2;
        } else {
            for (DWORD i = 0; i < count; ++i) pixels.push_back(pixel(at - 1, bits == 8 ? 0 : i % 2));
        }
    }
}

void check_run_lengths(const DibView& dib, DWORD bits) {
    const BITMAPINFOHEADER& header = *dib.header;
    const auto width = static_cast<DWORD>(header.biWidth), stride = static_cast<DWORD>(dib_stride(header));
    const auto total = static_cast<DWORD>(dib_bits_size(header));
    std::vector<BYTE> encoded;
    DWORD size = 0;
    require((bits == 8 ? EncodeRle8 : EncodeRle4)(dib.bits, total, width, stride, collect, &encoded, &size));
    require(size == encoded.size());
    size_t at = 0;
    for (DWORD row = 0; row < total / stride; ++row) {
        const std::vector<BYTE> pixels = decode_row(encoded, at, bits);
        require(pixels.size() == width);
        for (DWORD x = 0; x < width; ++x) {
            const BYTE byte = dib.bits[size_t{row} * stride + x * bits / 8];
            require(pixels[x] == (bits == 8 ? byte : x % 2 ? byte & 15 : byte >> 4));
        }
    }
    require(at + 2 == encoded.size() && encoded[at] == 0 && encoded[at + 1] == 1);
}

void check_jpeg(const DibView& dib, int quality) {
    CGlobalObj stream;
    const BOOL done = CompressDibToJpeg(dib, quality, stream);
    if (!IsJpegCandidate(dib)) return;
    require(done || dib.header->biSize != 40);
    if (!done) return;
    jpeg_decompress_struct jpeg;
    jpeg_error_mgr errors;
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&jpeg);
    jpeg_mem_src(&jpeg, stream.data(), stream.used());
    jpeg_read_header(&jpeg, TRUE);
    jpeg_start_decompress(&jpeg);
    std::vector<BYTE> row(size_t{jpeg.output_width} * 3);
    JSAMPROW at = row.data();
    while (jpeg.output_scanline < jpeg.output_height) jpeg_read_scanlines(&jpeg, &at, 1);
    require(errors.num_warnings == 0);
    require(jpeg.output_width == static_cast<DWORD>(dib.header->biWidth));
    require(jpeg.output_height == static_cast<DWORD>(dib.header->biHeight));
    jpeg_destroy_decompress(&jpeg);
}

void run(FuzzInput& in) {
    PrivateDevMode settings = {};
    settings.Compression = static_cast<WORD>(in.u8());
    settings.ResDownSamp = static_cast<WORD>(in.u8());
    settings.ResDownSampMono = static_cast<WORD>(in.u8());
    const LONG resolution = static_cast<LONG>(in.u16());
    const int quality = static_cast<int>(in.u8());
    const Alpha alpha = in.u8() % 2 != 0 ? Alpha::Keep : Alpha::Drop;
    const auto failing = in.u8();
    Source source;
    make_source(in, source);
    const DibView dib = source.view();
    check_reduction(dib);
    check_downsampling(dib, resolution, settings.ResDownSamp, alpha);
    check_jpeg(dib, quality);
    const WORD bits = dib.header->biBitCount;
    if ((bits == 4 || bits == 8) && has_plain_rows(*dib.header) && dib.header->biWidth > 0)
        check_run_lengths(dib, bits);
    if (failing > 0) host::fail_call(host::CallKind::Allocation, failing);
    PackedDib block;
    const DibView ready = PrepareBitmap(settings, dib, resolution, block);
    SelectBitmapEncoding(settings, ready);
    require(block ? ready.bits == block.bits() : ready.bits == dib.bits);
    host::clear_failures();
}

}  // namespace
}  // namespace kv

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kv::host::set_messages_quiet(true);
    kv::FuzzInput in(data, size);
    kv::run(in);
    return 0;
}
