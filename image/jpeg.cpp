// JPEG encoding with the IJG library. The library leaves a failed call by longjmp; every frame between its calls and
// the setjmp holds plain values only, so that nothing with a destructor is passed over.

// clang-format off
#include <cstdio>  // what jpeglib.h takes for granted
#include <jpeglib.h>
// clang-format on

#include <csetjmp>
#include <cstring>

#include "image/encoding.h"
#include "support/assert.h"
#include "support/trace.h"

namespace kv {
namespace {

constexpr DWORD kFirstBuffer = 0x10000;  // bytes of the stream, doubled when full
constexpr int kColorSamples = 3;
constexpr DWORD kCoreHeader = 12, kInfoHeader = 40, kLongCoreHeader = 64;  // bytes
static_assert(kInfoHeader == sizeof(BITMAPINFOHEADER));

struct ErrorManager {
    jpeg_error_mgr base;
    std::jmp_buf escape;
};

[[noreturn]] void escape(j_common_ptr compressor) {
    jpeg_destroy(compressor);
    std::longjmp(reinterpret_cast<ErrorManager*>(compressor->err)->escape, 1);
}
void drop_message(j_common_ptr, int) {}
void drop_output(j_common_ptr) {}
void drop_text(j_common_ptr, char*) {}

// The stream grows in movable memory: doubled when full, used() tells its size at the end.
struct Destination {
    jpeg_destination_mgr base;
    CGlobalObj* stream;
};

void offer_room(Destination& target, DWORD used) {
    KV_ASSERT(used < target.stream->size());
    target.base.next_output_byte = target.stream->data() + used;
    target.base.free_in_buffer = target.stream->size() - used;
}

void begin_stream(j_compress_ptr compressor) {
    auto& target = *reinterpret_cast<Destination*>(compressor->dest);
    if (!target.stream->Alloc(kFirstBuffer)) compressor->err->error_exit(reinterpret_cast<j_common_ptr>(compressor));
    offer_room(target, 0);
}

boolean grow_stream(j_compress_ptr compressor) {
    auto& target = *reinterpret_cast<Destination*>(compressor->dest);
    const DWORD used = target.stream->size();
    if (!target.stream->Resize(used)) compressor->err->error_exit(reinterpret_cast<j_common_ptr>(compressor));
    offer_room(target, used);
    return TRUE;
}

void end_stream(j_compress_ptr compressor) {
    auto& target = *reinterpret_cast<Destination*>(compressor->dest);
    KV_ASSERT(target.base.free_in_buffer <= target.stream->size());
    target.stream->set_used(static_cast<DWORD>(target.stream->size() - target.base.free_in_buffer));
}

// The rows of a bitmap in memory, delivered top row first.
struct DibReader {
    DWORD width, height, stride;
    WORD bit_count;
    DWORD x_density, y_density;  // pixels per metre
    bool gray;                   // 8 bits per pixel are levels, without a look at the table
    const BYTE* colors;          // blue, green, red, reserved
    const BYTE* bits;
};

WORD bit_count_of(const BITMAPINFOHEADER& header) {
    if (header.biSize != kCoreHeader) return header.biBitCount;
    WORD count;
    std::memcpy(&count, reinterpret_cast<const BYTE*>(&header) + 10, sizeof count);
    return count;
}

void read_core_header(const BITMAPINFOHEADER& header, DibReader& reader) {
    WORD sides[2];
    std::memcpy(sides, reinterpret_cast<const BYTE*>(&header) + 4, sizeof sides);
    reader.width = sides[0];
    reader.height = sides[1];
}

// FALSE for bitmaps that the reader cannot deliver.
bool open_reader(const DibView& dib, DibReader& reader) {
    const BITMAPINFOHEADER& header = *dib.header;
    reader = {};
    if (header.biSize == kCoreHeader) {
        read_core_header(header, reader);
    } else if (header.biSize == kInfoHeader || header.biSize == kLongCoreHeader) {
        if (header.biCompression != BI_RGB || header.biWidth < 1 || header.biHeight < 1) return false;
        reader.width = static_cast<DWORD>(header.biWidth);
        reader.height = static_cast<DWORD>(header.biHeight);
        if (header.biXPelsPerMeter >= 1 && header.biYPelsPerMeter >= 1) {
            reader.x_density = static_cast<DWORD>(header.biXPelsPerMeter);
            reader.y_density = static_cast<DWORD>(header.biYPelsPerMeter);
        }
    } else {
        return false;
    }
    reader.bit_count = bit_count_of(header);
    reader.gray = reader.bit_count == 8 && has_gray_ramp(dib);
    reader.stride = static_cast<DWORD>(dib_stride(static_cast<LONG>(reader.width), reader.bit_count));
    reader.colors = dib.table();
    reader.bits = dib.bits;
    return true;
}

const BYTE* stored_row(const DibReader& reader, DWORD row) {
    KV_ASSERT(row < reader.height);
    return reader.bits + size_t{reader.height - 1 - row} * reader.stride;
}

void look_up_colors(const DibReader& reader, const BYTE* indices, BYTE* samples) {
    for (DWORD x = 0; x < reader.width; ++x, samples += kColorSamples) {
        std::memcpy(samples, reader.colors + size_t{indices[x]} * 4, kColorSamples);
    }
}

void set_parameters(jpeg_compress_struct& compressor, const DibReader& reader, int quality) {
    // Colours as they are stored, blue first; levels of gray need no table.
    compressor.in_color_space = reader.gray ? JCS_GRAYSCALE : JCS_EXT_BGR;
    compressor.input_components = reader.gray ? 1 : kColorSamples;
    jpeg_set_defaults(&compressor);
    if (reader.bit_count == 8) jpeg_set_colorspace(&compressor, JCS_GRAYSCALE);
    compressor.dct_method = JDCT_FLOAT;
#if JPEG_LIB_VERSION >= 70
    compressor.do_fancy_downsampling = FALSE;
#endif
    compressor.optimize_coding = TRUE;
    compressor.image_width = reader.width;
    compressor.image_height = reader.height;
    if (reader.x_density > 0) {
        constexpr DWORD kCentimetresPerMetre = 100;
        constexpr UINT8 kDotsPerCentimetre = 2;
        compressor.density_unit = kDotsPerCentimetre;
        compressor.X_density = static_cast<UINT16>(reader.x_density / kCentimetresPerMetre);
        compressor.Y_density = static_cast<UINT16>(reader.y_density / kCentimetresPerMetre);
    }
    jpeg_set_quality(&compressor, quality, TRUE);
}

// Not a part of its caller, in which setjmp keeps every variable in memory.
[[gnu::noinline]] void write_rows(jpeg_compress_struct& compressor, const DibReader& reader) {
    const bool look_up = reader.bit_count == 8 && !reader.gray;
    auto* common = reinterpret_cast<j_common_ptr>(&compressor);
    JSAMPARRAY buffer = nullptr;
    if (look_up) buffer = compressor.mem->alloc_sarray(common, JPOOL_IMAGE, reader.width * kColorSamples, 1);
    while (compressor.next_scanline < compressor.image_height) {
        JSAMPROW row = const_cast<JSAMPROW>(stored_row(reader, compressor.next_scanline));
        if (look_up) look_up_colors(reader, row, buffer[0]);
        jpeg_write_scanlines(&compressor, look_up ? buffer : &row, 1);
    }
}

bool compress(const DibReader& reader, int quality, CGlobalObj* stream) {
    jpeg_compress_struct compressor;
    ErrorManager errors;
    Destination target = {};
    compressor.err = jpeg_std_error(&errors.base);
    errors.base.error_exit = escape;
    errors.base.emit_message = drop_message;
    errors.base.output_message = drop_output;
    errors.base.format_message = drop_text;
    if (setjmp(errors.escape)) return false;
    jpeg_create_compress(&compressor);
    set_parameters(compressor, reader, quality);
    target.base.init_destination = begin_stream;
    target.base.empty_output_buffer = grow_stream;
    target.base.term_destination = end_stream;
    target.stream = stream;
    compressor.dest = &target.base;
    jpeg_start_compress(&compressor, TRUE);
    write_rows(compressor, reader);
    jpeg_finish_compress(&compressor);
    jpeg_destroy_compress(&compressor);
    return true;
}

}  // namespace

BOOL CompressDibToJpeg(const DibView& dib, int quality, CGlobalObj& stream) {
    stream.free();
    const WORD bit_count = bit_count_of(*dib.header);
    DibReader reader;
    if ((bit_count != 8 && bit_count != 24) || !open_reader(dib, reader)) {
        return KV_FAIL(Image, "no JPEG is made of %u bits and a header of %u bytes", bit_count,
                       static_cast<unsigned>(dib.header->biSize));
    }
    if (compress(reader, quality, &stream)) return TRUE;
    stream.free();
    return KV_FAIL(Image, "the JPEG library gave up");
}

}  // namespace kv
