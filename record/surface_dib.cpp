#include "record/surface_dib.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>

#include "image/prepare.h"
#include "record/document.h"
#include "record/pending_bitmap.h"
#include "support/assert.h"
#include "support/trace.h"

namespace kv {
namespace {

struct ColorFields {
    DWORD red, green, blue;
    bool operator==(const ColorFields&) const = default;
    DWORD all() const { return red | green | blue; }
};
constexpr ColorFields kFields16 = {0x7C00, 0x03E0, 0x001F}, kFields24 = {0xFF0000, 0xFF00, 0xFF};

bool is_field(DWORD mask) {
    if (mask == 0) return false;
    const DWORD low = mask >> std::countr_zero(mask);
    return (low & (low + 1)) == 0;
}

bool are_fields(const ColorFields& fields, WORD bit_count) {
    const bool disjoint = !(fields.red & fields.green) && !(fields.red & fields.blue) && !(fields.green & fields.blue);
    return is_field(fields.red) && is_field(fields.green) && is_field(fields.blue) && disjoint &&
           (bit_count == 32 || fields.all() >> bit_count == 0);
}

// Asks the translation what each bit of a pixel lights.
ColorFields derive_fields(XLATEOBJ* translation) {
    ColorFields fields = {};
    for (DWORD bit = 1; bit != 0; bit <<= 1) {
        const ULONG lit = XLATEOBJ_iXlate(translation, bit);
        if (lit & 0xFF) {
            fields.blue |= bit;
        } else if (lit & 0xFF00) {
            fields.green |= bit;
        } else if (lit & 0xFF0000) {
            fields.red |= bit;
        }
    }
    return fields;
}

ColorFields source_fields(XLATEOBJ* translation) {
    ULONG masks[3] = {};
    if (XLATEOBJ_cGetPalette(translation, XO_SRCBITFIELDS, 3, masks) != 3) return derive_fields(translation);
    return {masks[0], masks[1], masks[2]};
}

bool stride_matches(const SURFOBJ& surface, const BITMAPINFOHEADER& header) {
    return dib_stride(header) == static_cast<uint64_t>(std::abs(int64_t{surface.lDelta}));
}

// Pixels from `left` on of a row, moved to the front of another of `width` pixels.
void crop_row(const BYTE* from, BYTE* to, LONG left, LONG width, int bit_count) {
    const uint64_t first_bit = uint64_t{static_cast<DWORD>(left)} * bit_count;
    const uint64_t bits = uint64_t{static_cast<DWORD>(width)} * bit_count;
    const auto bytes = static_cast<size_t>((bits + 7) / 8);
    KV_ASSERT(left >= 0 && bytes > 0);
    const int shift = static_cast<int>(first_bit % 8);
    from += first_bit / 8;
    if (shift == 0) {
        std::memcpy(to, from, bytes);
    } else {
        const uint64_t available = (shift + bits + 7) / 8;
        for (size_t i = 0; i < bytes; ++i) {
            const int next = i + 1 < available ? from[i + 1] : 0;
            to[i] = static_cast<BYTE>(from[i] << shift | next >> (8 - shift));
        }
    }
    if (bits % 8) to[bytes - 1] = static_cast<BYTE>(to[bytes - 1] & 0xFF00 >> bits % 8);
}

// Rows in the other order.
void copy_flipped(const BYTE* from, BYTE* to, size_t stride, size_t rows) {
    for (size_t y = 0; y < rows; ++y) std::memcpy(to + y * stride, from + (rows - 1 - y) * stride, stride);
}
void flip(BYTE* bits, size_t stride, size_t rows) {
    for (size_t low = 0, high = rows; low + 1 < high; ++low) {
        --high;
        std::swap_ranges(bits + low * stride, bits + (low + 1) * stride, bits + high * stride);
    }
}

// An empty bitmap with the head of another, of another size.
BOOL create_like(const DibView& original, LONG width, LONG height, PackedDib& dib) {
    BITMAPINFOHEADER header = *original.header;
    header.biWidth = width;
    header.biHeight = height;
    if (!dib.create(header)) return FALSE;
    std::memcpy(dib.table(), original.table(), static_cast<size_t>(dib_head_size(header)) - header.biSize);
    return TRUE;
}

// target/source of a coordinate, rounded up.
LONG scaled(LONG value, WORD target, WORD source) {
    KV_ASSERT(target > 0 && target < source);
    const int64_t numerator = int64_t{value} * target;
    const int64_t quotient = numerator / source;
    return static_cast<LONG>(quotient + (numerator % source > 0));
}

}  // namespace

class SurfaceConverter {
public:
    SurfaceConverter(Document& document, const SurfaceRequest& request, SurfaceImage& image)
        : document_(document), request_(request), image_(image), surface_(*request.surface) {}

    BOOL convert();

private:
    BITMAPINFOHEADER& header() { return image_.head_.header; }
    RECTL whole() const {
        const DibView dib = image_.view();
        return {0, 0, dib.header->biWidth, dib.header->biHeight};
    }
    bool has_plain_source() const { return has_plain_rows(image_.head_.header); }
    const PrivateDevMode& settings() const { return document_.settings.kv; }

    bool find_rows();
    bool read_colors();
    bool read_table();
    bool read_fields();
    BOOL is_recordable();
    BOOL crop();
    Offer offer();
    void reduce_colors();
    void downsample();
    BOOL make_bottom_up();
    BOOL read_mask();

    Document& document_;
    const SurfaceRequest& request_;
    SurfaceImage& image_;
    const SURFOBJ& surface_;
    bool top_down_ = false, keep_alpha_ = false;
};

bool describe_surface(const SURFOBJ& surface, BITMAPINFOHEADER& header) {
    static constexpr struct {
        WORD bits;
        DWORD compression;
    } kFormats[] = {{0, 0},       {1, BI_RGB},  {4, BI_RGB},  {8, BI_RGB}, {16, BI_RGB},
                    {24, BI_RGB}, {32, BI_RGB}, {4, BI_RLE4}, {8, BI_RLE8}};
    const ULONG format = surface.iBitmapFormat;
    if (format == 0 || format >= std::size(kFormats)) return false;
    header = {};
    header.biSize = sizeof header;
    header.biWidth = surface.sizlBitmap.cx;
    header.biHeight = surface.sizlBitmap.cy;
    header.biPlanes = 1;
    header.biBitCount = kFormats[format].bits;
    header.biCompression = kFormats[format].compression;
    if (header.biCompression != BI_RGB) header.biSizeImage = surface.cjBits;
    return true;
}

// The header, the rows that the source rectangle needs, and the rectangle in those.
bool SurfaceConverter::find_rows() {
    if (!surface_.pvBits || !describe_surface(surface_, header())) return false;
    const SIZEL size = surface_.sizlBitmap;
    image_.source = request_.source;
    if (is_empty(intersection(request_.source, {0, 0, size.cx, size.cy}))) return false;
    keep_alpha_ = request_.keep_alpha && header().biBitCount == 32;
    image_.bits_ = static_cast<const BYTE*>(surface_.pvBits);
    if (!has_plain_source()) return true;  // encoded rows cannot be found

    if (!stride_matches(surface_, header())) return false;
    top_down_ = surface_.fjBitmap & BMF_TOPDOWN;
    const LONG top = std::max<LONG>(request_.source.top, 0), bottom = std::min(request_.source.bottom, size.cy);
    const LONG first_row = top_down_ ? top : size.cy - bottom;
    KV_ASSERT(top < bottom && first_row >= 0 && first_row + (bottom - top) <= size.cy);
    header().biHeight = bottom - top;
    image_.bits_ += static_cast<size_t>(first_row) * static_cast<size_t>(dib_stride(header()));
    image_.source.top -= top;
    image_.source.bottom -= top;
    return true;
}

bool SurfaceConverter::read_table() {
    const XLATEOBJ* translation = request_.translation;
    const DWORD entries = 1u << header().biBitCount;
    if (!translation || !(translation->flXlate & XO_TABLE) || !translation->pulXlate ||
        translation->cEntries < entries) {
        return false;
    }
    for (DWORD i = 0; i < entries; ++i) image_.head_.table[i] = translation->pulXlate[i] & 0xFFFFFF;
    return true;
}

bool SurfaceConverter::read_fields() {
    if (!request_.translation) return true;
    const ColorFields fields = source_fields(request_.translation);
    if (!are_fields(fields, header().biBitCount)) return false;
    const bool standard = fields == (header().biBitCount == 16 ? kFields16 : kFields24);
    if (standard && (!keep_alpha_ || fields.all() == 0xFFFFFFFF)) return true;
    header().biCompression = BI_BITFIELDS;
    image_.head_.table[0] = fields.red;
    image_.head_.table[1] = fields.green;
    image_.head_.table[2] = fields.blue;
    return true;
}

bool SurfaceConverter::read_colors() { return header().biBitCount <= 8 ? read_table() : read_fields(); }

// What is used of the pixels is not too much for a job: nothing below would make less of it.
BOOL SurfaceConverter::is_recordable() {
    BITMAPINFOHEADER used = header();
    if (has_plain_source() && !request_.mask) {
        const RECTL part = intersection(image_.source, whole());
        used.biWidth = part.right - part.left;
    }
    const uint64_t size = dib_size(used);
    return size <= kMaxDibSize || document_.has_room(size);
}

BOOL SurfaceConverter::crop() {
    const RECTL used = intersection(image_.source, whole());
    KV_ASSERT(!has_plain_source() || !is_empty(used));
    if (!has_plain_source() || same_rect(used, whole())) return TRUE;
    const DibView full = image_.view();
    PackedDib cropped;
    if (!create_like(full, used.right - used.left, used.bottom - used.top, cropped)) return FALSE;
    const auto from_stride = static_cast<size_t>(dib_stride(*full.header));
    const auto to_stride = static_cast<size_t>(dib_stride(cropped.header()));
    for (LONG y = 0; y < cropped.header().biHeight; ++y) {
        crop_row(full.bits + y * from_stride, cropped.bits() + y * to_stride, used.left, cropped.header().biWidth,
                 full.header->biBitCount);
    }
    image_.source.left -= used.left;
    image_.source.right -= used.left;
    image_.adopt(std::move(cropped));
    return TRUE;
}

Offer SurfaceConverter::offer() {
    const BitmapBand band = {image_.view(), top_down_,           keep_alpha_, same_rect(image_.source, whole()),
                             request_.rop,  request_.destination};
    return document_.pending.offer<CPendingBitmap>(document_, &PendingOperation::offer_bitmap, band);
}

void SurfaceConverter::reduce_colors() {
    PackedDib reduced;
    if ((settings().Compression & kCompressReduceColors) && !keep_alpha_ && ReduceColorDepth(image_.view(), reduced)) {
        image_.adopt(std::move(reduced));
    }
}

void SurfaceConverter::downsample() {
    const WORD resolution = request_.resolution;
    const bool mono = image_.view().header->biBitCount == 1;
    const WORD target = mono ? settings().ResDownSampMono : settings().ResDownSamp;
    const WORD enabled = mono ? kCompressDownsampleMono : kCompressDownsample;
    if (!(settings().Compression & enabled) || target == 0 || resolution <= target) return;
    const bool whole_used = same_rect(image_.source, whole());
    PackedDib smaller;
    if (!DownsampleDib(image_.view(), resolution, target, smaller, keep_alpha_ ? Alpha::Keep : Alpha::Drop)) return;
    image_.adopt(std::move(smaller));
    RECTL& source = image_.source;
    if (whole_used) {
        source = whole();
    } else {
        for (LONG* value : {&source.left, &source.top, &source.right, &source.bottom}) {
            *value = scaled(*value, target, resolution);
        }
    }
    reduce_colors();
}

BOOL SurfaceConverter::make_bottom_up() {
    if (!top_down_) return TRUE;
    const DibView dib = image_.view();
    const auto stride = static_cast<size_t>(dib_stride(*dib.header));
    const auto rows = static_cast<size_t>(dib.header->biHeight);
    if (image_.owned_) {
        flip(image_.owned_.bits(), stride, rows);
        return TRUE;
    }
    PackedDib flipped;
    if (!create_like(dib, dib.header->biWidth, dib.header->biHeight, flipped)) return FALSE;
    copy_flipped(dib.bits, flipped.bits(), stride, rows);
    image_.adopt(std::move(flipped));
    return TRUE;
}

BOOL SurfaceConverter::read_mask() {
    const SURFOBJ& surface = *request_.mask;
    BITMAPINFOHEADER mask_header;
    const RECTL mask_rect = {0, 0, surface.sizlBitmap.cx, surface.sizlBitmap.cy};
    if (!surface.pvBits || surface.iBitmapFormat != BMF_1BPP || !describe_surface(surface, mask_header) ||
        is_empty(mask_rect) || !same_rect(image_.source, mask_rect) || !stride_matches(surface, mask_header)) {
        KV_TRACE(Record, Warning, "the mask does not fit the image, which is drawn without");
        return TRUE;
    }
    PackedDib& mask = image_.mask;
    if (!mask.create(mask_header)) return FALSE;
    mask.table()[1] = 0xFFFFFF;
    const auto stride = static_cast<size_t>(dib_stride(mask_header));
    const auto rows = static_cast<size_t>(mask_header.biHeight);
    const auto* bits = static_cast<const BYTE*>(surface.pvBits);
    if (surface.fjBitmap & BMF_TOPDOWN) {
        copy_flipped(bits, mask.bits(), stride, rows);
    } else {
        std::memcpy(mask.bits(), bits, stride * rows);
    }
    return TRUE;
}

BOOL SurfaceConverter::convert() {
    if (!find_rows() || !read_colors()) {
        return KV_FAIL(Record, "a surface of format %u, %d x %d, is not read, position %u",
                       static_cast<unsigned>(surface_.iBitmapFormat), static_cast<int>(surface_.sizlBitmap.cx),
                       static_cast<int>(surface_.sizlBitmap.cy), static_cast<unsigned>(document_.position));
    }
    if (!is_recordable() || (!request_.mask && !crop())) return FALSE;
    if (!request_.mask && request_.may_merge) {
        const Offer answer = offer();
        image_.merged = answer == Offer::Taken;
        if (answer != Offer::Refused) return answer == Offer::Taken;
    }
    reduce_colors();
    if (!request_.mask && request_.resolution != 0) downsample();
    return make_bottom_up() && (!request_.mask || read_mask());
}

BOOL ConvertSurfaceToDib(Document& document, const SurfaceRequest& request, SurfaceImage& image) {
    image = SurfaceImage();
    return SurfaceConverter(document, request, image).convert();
}

WORD ImageResolution(const Document& document, const RECTL& source, const RECTL& destination) {
    auto clamped = [](int64_t length) { return static_cast<int>(std::clamp<int64_t>(length, 0, 0x7FFFFFFF)); };
    const int resolution = document.settings.kv.Resolution;
    const int source_width = clamped(width_of(source)), source_height = clamped(height_of(source));
    const int width = clamped(width_of(destination)), height = clamped(height_of(destination));
    if (std::min({resolution, source_width, source_height, width, height}) < 1) return 0;
    // -1, when the quotient does not fit, is more than any resolution.
    auto printed = [&](int pixels, int length) { return static_cast<DWORD>(MulDiv(pixels, resolution, length)); };
    return static_cast<WORD>(
        std::min<DWORD>(std::max(printed(source_width, width), printed(source_height, height)), 0xFFFF));
}

}  // namespace kv
