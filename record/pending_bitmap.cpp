#include "record/pending_bitmap.h"

#include <algorithm>
#include <cstring>

#include "image/pixels.h"
#include "image/prepare.h"
#include "record/bitmap_writer.h"
#include "record/document.h"
#include "record/raster_ops.h"
#include "record/surface_dib.h"
#include "support/assert.h"
#include "support/trace.h"

namespace kv {
namespace {

// Of one image, so that a document that draws nothing else is written from time to time: bands, and bytes of pixels.
constexpr unsigned kMaxBands = 512;
constexpr uint64_t kMaxHeld = 0x8000000;
static_assert(kMaxHeld < kMaxDibSize);
constexpr DWORD kBlack = 0x000000, kWhite = 0xFFFFFF;

// Of colour table or masks, bytes.
size_t table_size(const BITMAPINFOHEADER& header) { return static_cast<size_t>(dib_head_size(header)) - header.biSize; }

bool is_mergeable(const BitmapBand& band) {
    const BITMAPINFOHEADER& header = *band.image.header;
    return !band.top_down && !band.keep_alpha && band.whole && header.biBitCount != 16 && header.biBitCount != 32 &&
           has_plain_rows(header) && width_of(band.destination) > 0 && height_of(band.destination) > 0;
}

// Sets the bits of black pixels where `bits` is given. False when a pixel is neither black nor white.
bool read_black(const DibView& dib, BYTE* bits, size_t stride) {
    PixelReader pixels;
    if (!pixels.open(dib)) return false;
    for (DWORD y = 0; y < pixels.rows(); ++y) {
        for (DWORD x = 0; x < pixels.width(); x += 8) {
            DWORD colors[8];
            const DWORD count = std::min<DWORD>(8, pixels.width() - x);
            pixels.read(y, x, count, colors);
            int black = 0;
            for (DWORD i = 0; i < count; ++i) {
                if (colors[i] != kBlack && colors[i] != kWhite) return false;
                if (colors[i] == kBlack) black |= 0x80 >> i;
            }
            if (bits) bits[y * stride + x / 8] = static_cast<BYTE>(black);
        }
    }
    return true;
}

// Of an image that is drawn with and: black lets nothing through of what lies under it, white everything.
bool is_mask(const DibView& dib) {
    if (dib.header->biBitCount != 1) return read_black(dib, nullptr, 0);
    const DWORD first = dib.color(0) & 0xFFFFFF, second = dib.color(1) & 0xFFFFFF;
    return (first == kBlack && second == kWhite) || (first == kWhite && second == kBlack);
}

// Ones where the image is black.
BOOL make_mask(const DibView& dib, PackedDib& mask) {
    const BITMAPINFOHEADER header = dib_header(dib.header->biWidth, dib.header->biHeight, 1);
    if (!mask.create(header)) return FALSE;
    mask.table()[1] = kWhite;
    const auto stride = static_cast<size_t>(dib_stride(header));
    if (dib.header->biBitCount != 1) return read_black(dib, mask.bits(), stride);
    const BYTE inverted = (dib.color(1) & 0xFFFFFF) == kBlack ? 0x00 : 0xFF;
    const size_t size = stride * static_cast<size_t>(header.biHeight);
    for (size_t i = 0; i < size; ++i) mask.bits()[i] = static_cast<BYTE>(dib.bits[i] ^ inverted);
    return TRUE;
}

// Without the bits that fill the rows up.
bool same_rows(const BYTE* a, const BYTE* b, const BITMAPINFOHEADER& header) {
    const uint64_t bits = uint64_t{static_cast<DWORD>(header.biWidth)} * header.biBitCount;
    const auto stride = static_cast<size_t>(dib_stride(header)), whole = static_cast<size_t>(bits / 8);
    const int rest = 0xFF00 >> bits % 8 & 0xFF;
    for (LONG y = 0; y < header.biHeight; ++y, a += stride, b += stride) {
        if (std::memcmp(a, b, whole) != 0 || (rest && ((a[whole] ^ b[whole]) & rest))) return false;
    }
    return true;
}

RECTL whole_of(const DibView& dib) { return {0, 0, dib.header->biWidth, dib.header->biHeight}; }

}  // namespace

void CPendingBitmap::drop() {
    while (newest_) newest_ = std::move(newest_->older);
    mask_.reset();
    again_.reset();
    count_ = 0;
    bytes_ = 0;
    rows_ = 0;
    scales_ = {};
    stepwise_ = false;
}

// Joining stretches all bands alike. With these scales that moves no end of a band by more than a pixel.
CPendingBitmap::Scales CPendingBitmap::scales_of_more() const {
    const auto rows = static_cast<double>(rows_), end = static_cast<double>(height_of(destination_));
    return {std::max(scales_.least, (end - 1) / rows), std::min(scales_.most, (end + 1) / rows)};
}

bool CPendingBitmap::continues(const BitmapBand& band) const {
    const DibView held = newest_->dib.view();
    const BITMAPINFOHEADER &a = *held.header, &b = *band.image.header;
    const RECTL& to = band.destination;
    if (count_ >= kMaxBands || bytes_ >= kMaxHeld || to.left != destination_.left || to.right != destination_.right ||
        to.top != destination_.bottom || a.biBitCount != b.biBitCount || a.biWidth != b.biWidth ||
        a.biCompression != b.biCompression || std::memcmp(held.table(), band.image.table(), table_size(a)) != 0 ||
        bytes_ + dib_size(b) > kMaxDibSize) {
        return false;
    }
    const Scales allowed = scales_of_more();
    const double scale =
        static_cast<double>(int64_t{to.bottom} - destination_.top) / static_cast<double>(rows_ + b.biHeight);
    return allowed.least <= scale && scale <= allowed.most;
}

BOOL CPendingBitmap::append(const BitmapBand& band) {
    KV_ASSERT(is_empty() || band.destination.top == destination_.bottom);
    ObjectPtr<Band> added(make_object<Band>());
    if (!added || !added->dib.copy(band.image)) return FALSE;
    if (is_empty()) {
        rop_ = band.rop;
        destination_ = band.destination;
    } else {
        scales_ = scales_of_more();
    }
    destination_.bottom = band.destination.bottom;
    ++count_;
    bytes_ += dib_bits_size(*band.image.header);
    rows_ += band.image.header->biHeight;
    added->older = std::move(newest_);
    newest_ = std::move(added);
    KV_ASSERT(count_ <= kMaxBands && rows_ >= count_);
    return TRUE;
}

bool CPendingBitmap::starts_where_held(const BitmapBand& band) const {
    const RECTL& to = band.destination;
    return is_mergeable(band) && to.left == destination_.left && to.right == destination_.right &&
           to.top == destination_.top;
}

// The second step starts with the first one's left top corner, and has a bit for each of its pixels.
BOOL CPendingBitmap::offer_mask(Document& document, const BitmapBand& band) {
    KV_ASSERT(rop_ == kRopXor && band.rop == kRopAnd && !is_empty());
    if (again_ || !is_mergeable(band) || band.image.header->biWidth != newest_->dib.header().biWidth ||
        !is_mask(band.image)) {
        return FALSE;
    }
    if (mask_) return mask_->offer_bitmap(document, band);
    if (!starts_where_held(band)) return FALSE;
    ObjectPtr<CPendingBitmap> mask(make_object<CPendingBitmap>());
    if (!mask || !mask->offer_bitmap(document, band)) return FALSE;
    mask_ = std::move(mask);
    return TRUE;
}

// The third step. Its pixels are looked at when all of them are there.
BOOL CPendingBitmap::offer_again(Document& document, const BitmapBand& band) {
    if (again_ && covers(again_)) return FALSE;
    if (covers(mask_) && band.destination.bottom <= destination_.bottom) {
        if (again_ && again_->offer_bitmap(document, band)) return TRUE;
        if (!again_ && starts_where_held(band)) {
            ObjectPtr<CPendingBitmap> again(make_object<CPendingBitmap>());
            if (again && again->offer_bitmap(document, band)) {
                again_ = std::move(again);
                return TRUE;
            }
        }
    }
    stepwise_ = true;
    return FALSE;
}

bool CPendingBitmap::covers(const ObjectPtr<CPendingBitmap>& step) const {
    return step && same_rect(step->destination_, destination_) && step->rows_ == rows_;
}

// Of as many rows.
bool CPendingBitmap::has_pixels_of(const DibView& image) const {
    const BYTE* rows = image.bits;
    for (const Band* band = newest_.get(); band; band = band->older.get()) {
        const BITMAPINFOHEADER &a = band->dib.header(), &b = *image.header;
        if (a.biWidth != b.biWidth || a.biBitCount != b.biBitCount || a.biCompression != b.biCompression ||
            std::memcmp(band->dib.view().table(), image.table(), table_size(a)) != 0 ||
            !same_rows(band->dib.bits(), rows, a)) {
            return false;
        }
        rows += dib_bits_size(a);
    }
    return true;
}

BOOL CPendingBitmap::offer_bitmap(Document& document, const BitmapBand& band) {
    if (is_empty()) return is_mergeable(band) && append(band);
    if (rop_ == kRopXor) {
        // An image over one that is in the job already is no first step.
        if (same_rect(destination_, document.pending.last_xor())) return FALSE;
        if (mask_ && band.rop == kRopXor && !kv::is_empty(intersection(destination_, normalized(band.destination)))) {
            return offer_again(document, band);
        }
        if (band.rop == kRopAnd) return offer_mask(document, band);
    }
    return !again_ && is_mergeable(band) && band.rop == rop_ && continues(band) && append(band);
}

// The bands as one image, the newest below all others and so first in memory. Nothing is held afterwards.
BOOL CPendingBitmap::join(PackedDib& image) {
    if (count_ == 1) {
        image = std::move(newest_->dib);
        return TRUE;
    }
    BITMAPINFOHEADER header = newest_->dib.header();
    header.biHeight = static_cast<LONG>(rows_);
    if (!image.create(header)) return FALSE;
    KV_ASSERT(dib_bits_size(header) == bytes_);
    std::memcpy(image.table(), newest_->dib.table(), table_size(header));
    BYTE* bits = image.bits();
    while (newest_) {
        const auto size = static_cast<size_t>(dib_bits_size(newest_->dib.header()));
        std::memcpy(bits, newest_->dib.bits(), size);
        bits += size;
        newest_ = std::move(newest_->older);
    }
    KV_ASSERT(bits == image.data() + image.size());
    return TRUE;
}

BOOL CPendingBitmap::write_masked(Document& document, const DibView& image) {
    KV_ASSERT(mask_ && covers(mask_));
    PackedDib seconds, mask;
    if (!mask_->join(seconds) || !make_mask(seconds.view(), mask)) return FALSE;
    seconds.reset();
    return WriteMaskedRecord(document, whole_of(image), destination_, image, mask.view());
}

BOOL CPendingBitmap::flush(Document& document) {
    if (is_empty()) return TRUE;
    PackedDib image, prepared;
    if (!join(image)) return FALSE;
    if (covers(mask_) && !stepwise_ && (!again_ || (covers(again_) && again_->has_pixels_of(image.view())))) {
        KV_TRACE(Record, Info, "image, mask and image are one masked image");
        return write_masked(document, image.view());
    }
    const WORD resolution = ImageResolution(document, whole_of(image.view()), destination_);
    const DibView ready = PrepareBitmap(document.settings.kv, image.view(), resolution, prepared);
    KV_TRACE(Record, Info, "%u bands, operation %02X%s", count_, rop_, mask_ ? ", and its mask by itself" : "");
    if (ready.bits != image.view().bits) image.reset();
    return WriteBitmapRecord(document, rop_, whole_of(ready), destination_, ready) &&
           (!mask_ || mask_->flush(document)) && (!again_ || again_->flush(document));
}

}  // namespace kv
