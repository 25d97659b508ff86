#include "record/bitmap_writer.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "image/encoding.h"
#include "record/clip_recorder.h"
#include "record/document.h"
#include "record/path_recorder.h"
#include "record/raster_ops.h"
#include "record/record_types.h"
#include "support/assert.h"
#include "support/trace.h"

namespace kv {
namespace {

constexpr BYTE kTransparentIsJpeg = 0x01;
static_assert(kMaxDibSize == kLongestFile, "what is too long for a record is no packed bitmap either");

// What stands before the bitmap in a record.
class RecordHead {
public:
    explicit RecordHead(bool narrow) : narrow_(narrow), out_(bytes_) {}

    ByteWriter& out() { return out_; }
    void rect(const RECTL& rect) { narrow_ ? put_rect16(out_, rect) : put_rect32(out_, rect); }
    void point(LONG x, LONG y) {
        for (LONG value : {x, y}) {
            narrow_ ? out_.u16(static_cast<DWORD>(value)) : out_.u32(static_cast<DWORD>(value));
        }
    }
    bool narrow() const { return narrow_; }
    BYTE* data() {
        KV_ASSERT(!out_.overflowed());
        return bytes_;
    }
    DWORD size() const { return static_cast<DWORD>(out_.size()); }

private:
    // Of a masked image: a word, a rectangle, four points of 8 bytes, two sizes.
    static constexpr size_t kLargest = 2 + kRect32Size + 4 * 8 + 2 * 4;
    bool narrow_;
    BYTE bytes_[kLargest] = {};
    ByteWriter out_;
};

bool are_narrow(const RECTL& source, const RECTL& destination) {
    return fits_16_bits(source) && fits_16_bits(destination);
}

// How a record with an encoded image is framed.
struct ImageRecord {
    BYTE plain_type, jpeg_type;
    BYTE* jpeg_flags;     // a byte of the head that says so, or null
    DWORD unpacked_head;  // counted before the pixels of a source that is compressed itself
};

void raise_largest_record(Document& document, uint64_t size) {
    const auto counted = static_cast<DWORD>(std::min<uint64_t>(size, 0xFFFFFFFF));
    document.statistics.largest_record = std::max(document.statistics.largest_record, counted);
}

// FALSE, and the user is told, for records that are longer than a job can be, however short they became compressed.
BOOL is_recordable(const Document& document, uint64_t size) { return size <= kLongestFile || document.has_room(size); }

// Appends the image as a JPEG stream to the job. *written counts the stream's bytes, 0 on failure.
BOOL WriteJpegBitmap(const DibView& image, int quality, Document& job, DWORD* written) {
    *written = 0;
    CGlobalObj stream;
    if (!job.job || !job.job->IsOpen()) return KV_FAIL(Record, "the job file is not open");
    if (!CompressDibToJpeg(image, quality, stream) || !job.WriteBytes(stream.data(), stream.used())) return FALSE;
    *written = stream.used();
    return TRUE;
}

// The length of a record that is still in the job's tail is patched there, without a seek.
BOOL write_jpeg(Document& document, BYTE type, RecordHead& head, const DibView& image) {
    DWORD length_position = 0, written = 0;
    if (!document.BeginSizedRecord(type, 0, &length_position) || !document.WriteBytes(head.data(), head.size()) ||
        !WriteJpegBitmap(image, document.settings.kv.JpegQuality, document, &written)) {
        return FALSE;
    }
    KV_TRACE(Record, Info, "%u bytes before position %u", static_cast<unsigned>(written),
             static_cast<unsigned>(document.position));
    document.statistics.largest_record += written;
    return document.PatchU32(length_position, head.size() + written);
}

BOOL write_encoded_piece(const void* data, DWORD size, void* document) {
    return static_cast<Document*>(document)->WriteBytes(data, size);
}

BOOL write_run_length(Document& document, BYTE type, RecordHead& head, const DibView& image) {
    BITMAPINFOHEADER header = *image.header;
    const bool bytes = header.biBitCount == 8;
    header.biCompression = bytes ? BI_RLE8 : BI_RLE4;
    const uint64_t bits_size = dib_bits_size(*image.header);
    const auto table_size = static_cast<DWORD>(dib_head_size(header)) - header.biSize;
    DWORD length_position = 0, encoded = 0;
    KV_ASSERT(bits_size <= kMaxDibSize);
    if (!document.BeginSizedRecord(type, 0, &length_position) || !document.WriteBytes(head.data(), head.size())) {
        return FALSE;
    }
    const DWORD size_position = document.position + static_cast<DWORD>(offsetof(BITMAPINFOHEADER, biSizeImage));
    const auto encode = bytes ? EncodeRle8 : EncodeRle4;
    if (!document.WriteBytes(&header, header.biSize) || !document.WriteBytes(image.table(), table_size) ||
        !encode(image.bits, static_cast<DWORD>(bits_size), static_cast<DWORD>(header.biWidth),
                static_cast<DWORD>(dib_stride(header)), write_encoded_piece, &document, &encoded)) {
        return FALSE;
    }
    const DWORD length = head.size() + header.biSize + table_size + encoded;
    KV_ASSERT(document.position - length_position == 4 + length);
    raise_largest_record(document, std::max<uint64_t>(length, head.size() + dib_size(*image.header)));
    return document.PatchU32(length_position, length) && document.PatchU32(size_position, encoded);
}

BOOL write_plain(Document& document, const ImageRecord& record, RecordHead& head, const DibView& image) {
    const uint64_t size = head.size() + dib_size(*image.header);
    if (!is_recordable(document, size) ||
        !document.BeginRecord(record.plain_type, static_cast<DWORD>(size), has_plain_rows(*image.header)) ||
        !document.WriteBytes(head.data(), head.size()) || !WriteDib(document, image) || !document.EndRecord()) {
        return FALSE;
    }
    if (!has_plain_rows(*image.header)) {
        BITMAPINFOHEADER unpacked = *image.header;
        unpacked.biCompression = BI_RGB;
        raise_largest_record(document, dib_size(unpacked) + record.unpacked_head);
    }
    return TRUE;
}

BOOL write_encoded(Document& document, const ImageRecord& record, RecordHead& head, const DibView& image) {
    switch (SelectBitmapEncoding(document.settings.kv, image)) {
        case BitmapEncoding::Jpeg:
            if (record.jpeg_flags) *record.jpeg_flags |= kTransparentIsJpeg;
            return write_jpeg(document, record.jpeg_type, head, image);
        case BitmapEncoding::Rle8:
        case BitmapEncoding::Rle4:
            return write_run_length(document, record.plain_type, head, image);
        case BitmapEncoding::Plain:
            break;
    }
    return write_plain(document, record, head, image);
}

// What has begun cannot be taken back.
BOOL write_image(Document& document, const ImageRecord& record, RecordHead& head, const DibView& image) {
    if (write_encoded(document, record, head, image)) return TRUE;
    document.SetFailed();
    return FALSE;
}

// Which entries of a colour table the pixels of 1, 4 or 8 bits use.
class UsedColors {
public:
    explicit UsedColors(const DibView& image);
    bool contains(DWORD index) const { return used_[index]; }

private:
    void add_pixels(BYTE byte, int count) {
        for (int i = 0; i < count; ++i) used_[byte >> (8 - bits_ * (i + 1)) & ((1 << bits_) - 1)] = true;
    }

    const int bits_;
    bool used_[256] = {};
};

UsedColors::UsedColors(const DibView& image) : bits_(image.header->biBitCount) {
    KV_ASSERT(bits_ == 1 || bits_ == 4 || bits_ == 8);
    const auto stride = static_cast<size_t>(dib_stride(*image.header));
    const uint64_t row_bits = uint64_t{static_cast<DWORD>(image.header->biWidth)} * bits_;
    const auto full = static_cast<size_t>(row_bits / 8);
    bool seen[256] = {};
    for (LONG y = 0; y < image.header->biHeight; ++y) {
        const BYTE* row = image.bits + y * stride;
        for (size_t i = 0; i < full; ++i) seen[row[i]] = true;
        if (row_bits % 8) add_pixels(row[full], static_cast<int>(row_bits % 8) / bits_);
    }
    for (int byte = 0; byte < 256; ++byte) {
        if (seen[byte]) add_pixels(static_cast<BYTE>(byte), 8 / bits_);
    }
}

}  // namespace

BOOL WriteDib(Document& document, const DibView& image) {
    const BITMAPINFOHEADER& header = *image.header;
    const auto table_size = static_cast<DWORD>(dib_head_size(header)) - header.biSize;
    const uint64_t bits_size = dib_bits_size(header);
    KV_ASSERT(bits_size <= kMaxDibSize);
    if (!document.WriteBytes(&header, header.biSize)) return FALSE;
    DWORD table[256];
    KV_ASSERT(table_size <= sizeof table);
    std::memcpy(table, image.table(), table_size);
    if (header.biBitCount <= 8 && header.biCompression == BI_RGB) {
        const UsedColors used(image);
        for (DWORD i = 0; i < table_size / sizeof(DWORD); ++i) {
            if (!used.contains(i)) table[i] = 0;
        }
    }
    return document.WriteBytes(table, table_size) && document.WriteBits(image.bits, static_cast<DWORD>(bits_size));
}

BOOL WriteBitmapRecord(Document& document, BYTE rop, const RECTL& source, const RECTL& destination,
                       const DibView& image) {
    constexpr DWORD kUnpackedHead = 1 + 2 * kRect32Size;  // counted in the form with 32-bit coordinates
    RecordHead head(are_narrow(source, destination));
    head.out().u8(rop);
    head.rect(source);
    head.rect(destination);
    const ImageRecord record = head.narrow() ? ImageRecord{kRecordBitmap16, kRecordJpeg16, nullptr, kUnpackedHead}
                                             : ImageRecord{kRecordBitmap32, kRecordJpeg32, nullptr, kUnpackedHead};
    if (!write_image(document, record, head, image)) return FALSE;
    if (reads_destination(rop)) document.mark_page(kPageReadsDestination);
    if (rop == kRopXor) document.pending.remember_xor(destination);
    return TRUE;
}

BOOL WriteAlphaBlendRecord(Document& document, CLIPOBJ* clip, BLENDFUNCTION blend, const RECTL& source,
                           const RECTL& destination, const DibView& image) {
    RecordHead head(are_narrow(source, destination));
    head.out().bytes(&blend, sizeof blend);
    head.rect(source);
    head.rect(destination);
    const RECTL bounds = normalized(destination);
    if (!RecordClip(document, clip, &bounds)) return FALSE;
    AddInk(document, bounds);
    const BYTE constant = blend.SourceConstantAlpha;
    if ((blend.AlphaFormat & AC_SRC_ALPHA) || (constant != 0 && constant != 1 && constant != 255)) {
        document.mark_page(kPageHasTransparency);
    }
    const uint64_t size = head.size() + dib_size(*image.header);
    const BYTE type = head.narrow() ? kRecordAlphaBlend16 : kRecordAlphaBlend32;
    return is_recordable(document, size) && document.BeginRecord(type, static_cast<DWORD>(size), TRUE) &&
           document.WriteBytes(head.data(), head.size()) && WriteDib(document, image) && document.EndRecord();
}

BOOL WriteTransparentRecord(Document& document, CLIPOBJ* clip, DWORD color, const RECTL& source,
                            const RECTL& destination, const DibView& image) {
    constexpr DWORD kUnpackedHead = 4 + 2 * kRect32Size;
    constexpr size_t kFlags = 3;
    RecordHead head(are_narrow(source, destination));
    head.out().u32(color & 0xFFFFFF);  // red, green, blue, flags
    head.rect(source);
    head.rect(destination);
    const RECTL bounds = normalized(destination);
    if (!RecordClip(document, clip, &bounds)) return FALSE;
    const BYTE type = head.narrow() ? kRecordTransparent16 : kRecordTransparent32;
    if (!write_image(document, {type, type, head.data() + kFlags, kUnpackedHead}, head, image)) return FALSE;
    AddInk(document, bounds);
    return TRUE;
}

BOOL WriteMaskedRecord(Document& document, const RECTL& source, const RECTL& destination, const DibView& image,
                       const DibView& mask) {
    document.mark_page(kPageHasTransparency);
    RecordHead head(are_narrow(source, destination));
    head.out().u16(0);
    head.rect(source);
    head.point(destination.left, destination.top);
    head.point(destination.right, destination.top);
    head.point(destination.right, destination.bottom);
    head.point(destination.left, destination.bottom);
    const uint64_t image_size = dib_size(*image.header), mask_size = dib_size(*mask.header);
    if (!is_recordable(document, image_size) || !is_recordable(document, mask_size)) return FALSE;
    head.out().u32(static_cast<DWORD>(image_size));
    head.out().u32(static_cast<DWORD>(mask_size));
    const uint64_t size = head.size() + image_size + mask_size;
    const BYTE type = head.narrow() ? kRecordMasked16 : kRecordMasked32;
    return is_recordable(document, size) && document.BeginRecord(type, static_cast<DWORD>(size), TRUE) &&
           document.WriteBytes(head.data(), head.size()) && WriteDib(document, image) && WriteDib(document, mask) &&
           document.EndRecord();
}

}  // namespace kv
