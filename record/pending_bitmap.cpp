#include "record/pending_bitmap.h"

#include <algorithm>
#include <cstring>

#include "driver/pdevice.h"
#include "image/pixels.h"
#include "image/prepare.h"
#include "record/bitmap_writer.h"
#include "record/surface_dib.h"

namespace kv {
namespace {

constexpr BYTE kXor = 0x66, kAnd = 0x88;
constexpr unsigned kMaxBands = 512;
constexpr uint64_t kMaxHeld = 0x8000000;  // bytes
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

// Of an image that is drawn with and: black lets nothing through of what lies under it. Two colours are taken for
// black and white, whatever they are.
bool is_mask(const DibView& dib) { return dib.header->biBitCount == 1 || read_black(dib, nullptr, 0); }

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

RECTL whole_of(const DibView& dib) { return {0, 0, dib.header->biWidth, dib.header->biHeight}; }

}  // namespace

void CPendingBitmap::drop() {
    while (newest_) newest_ = std::move(newest_->older);
    mask_.reset();
    count_ = 0;
    bytes_ = 0;
    rows_ = 0;
    complete_ = false;
}

bool CPendingBitmap::continues(const BitmapBand& band) const {
    const DibView held = newest_->dib.view();
    const BITMAPINFOHEADER &a = *held.header, &b = *band.image.header;
    const RECTL& to = band.destination;
    return count_ < kMaxBands && bytes_ < kMaxHeld && to.left == destination_.left && to.right == destination_.right &&
           to.top == destination_.bottom && a.biBitCount == b.biBitCount && a.biWidth == b.biWidth &&
           a.biCompression == b.biCompression && std::memcmp(held.table(), band.image.table(), table_size(a)) == 0 &&
           bytes_ + dib_size(b) <= kMaxDibSize;
}

BOOL CPendingBitmap::append(const BitmapBand& band) {
    ObjectPtr<Band> added(make_object<Band>());
    if (!added || !added->dib.copy(band.image)) return FALSE;
    if (is_empty()) {
        rop_ = band.rop;
        destination_ = band.destination;
    }
    destination_.bottom = band.destination.bottom;
    ++count_;
    bytes_ += dib_bits_size(*band.image.header);
    rows_ += band.image.header->biHeight;
    added->older = std::move(newest_);
    newest_ = std::move(added);
    return TRUE;
}

// The second step starts with the first one's left top corner, and has a bit for each of its pixels.
BOOL CPendingBitmap::offer_mask(PDEVICE& device, const BitmapBand& band) {
    if (band.image.header->biWidth != newest_->dib.header().biWidth || !is_mask(band.image)) return FALSE;
    if (mask_) return mask_->offer_bitmap(device, band);
    const RECTL& to = band.destination;
    if (to.left != destination_.left || to.right != destination_.right || to.top != destination_.top) return FALSE;
    ObjectPtr<CPendingBitmap> mask(make_object<CPendingBitmap>());
    if (!mask || !mask->offer_bitmap(device, band)) return FALSE;
    mask_ = std::move(mask);
    return TRUE;
}

bool CPendingBitmap::mask_fits() const {
    return mask_ && same_rect(mask_->destination_, destination_) && mask_->rows_ == rows_;
}

BOOL CPendingBitmap::offer_bitmap(PDEVICE& device, const BitmapBand& band) {
    if (complete_ || !is_mergeable(band)) return FALSE;
    if (is_empty()) return append(band);
    if (rop_ == kXor) {
        // An image whose first step is in the job already: this is its third one.
        if (same_rect(destination_, device.pending.last_xor())) return FALSE;
        if (band.rop == kXor && same_rect(destination_, band.destination)) {
            complete_ = !mask_ || mask_fits();
            return complete_;
        }
        if (band.rop == kAnd) return offer_mask(device, band);
    }
    return band.rop == rop_ && continues(band) && append(band);
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
    std::memcpy(image.table(), newest_->dib.table(), table_size(header));
    BYTE* bits = image.bits();
    while (newest_) {
        const auto size = static_cast<size_t>(dib_bits_size(newest_->dib.header()));
        std::memcpy(bits, newest_->dib.bits(), size);
        bits += size;
        newest_ = std::move(newest_->older);
    }
    return TRUE;
}

BOOL CPendingBitmap::flush_masked(PDEVICE& device) {
    PackedDib image, seconds, mask;
    if (!join(image) || !mask_->join(seconds) || !make_mask(seconds.view(), mask)) return FALSE;
    seconds.reset();
    return WriteMaskedRecord(device, whole_of(image.view()), destination_, image.view(), mask.view());
}

BOOL CPendingBitmap::flush(PDEVICE& device) {
    if (is_empty()) return TRUE;
    if (mask_fits()) return flush_masked(device);
    PackedDib image, prepared;
    if (!join(image)) return FALSE;
    const WORD resolution = ImageResolution(device, whole_of(image.view()), destination_);
    const DibView ready = PrepareBitmap(device.settings.kv, image.view(), resolution, prepared);
    if (ready.bits != image.view().bits) image.reset();
    return WriteBitmapRecord(device, rop_, whole_of(ready), destination_, ready) && (!mask_ || mask_->flush(device));
}

}  // namespace kv
