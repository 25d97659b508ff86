#include "engine/bitmap.h"

#include <algorithm>
#include <stdexcept>

#include "platform/driver_module.h"

namespace kv::engine {
namespace {

// A pixel of a row: where its first byte stands, and of indices how far they lie above the byte's lowest bit.
struct PixelPlace {
    BYTE* byte;
    int shift;
};

PixelPlace place_of(BYTE* row, LONG x, int bits) {
    const ptrdiff_t first_bit = ptrdiff_t{x} * bits;
    return {row + first_bit / 8, bits < 8 ? 8 - bits - static_cast<int>(first_bit % 8) : 0};
}

void put(BYTE* row, LONG x, int bits, ULONG value) {
    const PixelPlace at = place_of(row, x, bits);
    if (bits < 8) {
        const int mask = ((1 << bits) - 1) << at.shift;
        *at.byte = static_cast<BYTE>((*at.byte & ~mask) | (static_cast<int>(value) << at.shift & mask));
        return;
    }
    for (int i = 0; i < bits / 8; ++i) at.byte[i] = static_cast<BYTE>(value >> (8 * i));
}

}  // namespace

int bits_per_pixel(ULONG format) {
    static constexpr int kBits[] = {0, 1, 4, 8, 16, 24, 32};
    return format <= BMF_32BPP ? kBits[format] : 0;
}

Bitmap::Bitmap(ULONG format, LONG width, LONG height, RowOrder order) : SURFOBJ{} {
    const int bits = bits_per_pixel(format);
    if (bits == 0 || width <= 0 || height <= 0) throw std::invalid_argument("no such bitmap");
    const size_t row_bytes = (static_cast<size_t>(width) * bits + 31) / 32 * 4;
    bits_.resize(row_bytes * height);
    sizlBitmap = {width, height};
    iBitmapFormat = format;
    iType = STYPE_BITMAP;
    cjBits = static_cast<ULONG>(bits_.size());
    pvBits = pvScan0 = bits_.data();
    lDelta = static_cast<LONG>(row_bytes);
    if (order == RowOrder::TopDown) {
        fjBitmap = BMF_TOPDOWN;
    } else {
        pvScan0 = bits_.data() + row_bytes * (height - 1);
        lDelta = -lDelta;
    }
}

Bitmap::Bitmap(ULONG format, LONG width, LONG height, std::vector<BYTE> encoded)
    : SURFOBJ{}, bits_(std::move(encoded)) {
    sizlBitmap = {width, height};
    iBitmapFormat = format;
    iType = STYPE_BITMAP;
    cjBits = static_cast<ULONG>(bits_.size());
    pvBits = pvScan0 = bits_.data();
}

void Bitmap::set_pixel(LONG x, LONG y, ULONG value) { put(row(y), x, bits_per_pixel(iBitmapFormat), value); }

ULONG Bitmap::pixel(LONG x, LONG y) {
    const int bits = bits_per_pixel(iBitmapFormat);
    const PixelPlace at = place_of(row(y), x, bits);
    if (bits < 8) return *at.byte >> at.shift & ((1 << bits) - 1);
    ULONG value = 0;
    for (int i = 0; i < bits / 8; ++i) value |= ULONG{at.byte[i]} << (8 * i);
    return value;
}

}  // namespace kv::engine

using namespace kv::engine;

// Fills what of the rectangle lies within a bitmap. The colour is in the bitmap's own form.
BOOL APIENTRY EngEraseSurface(SURFOBJ* surface, RECTL* rect, ULONG colour) {
    if (kv::engine_call_fails("EngEraseSurface")) return FALSE;
    const int bits = surface && surface->iType == STYPE_BITMAP ? bits_per_pixel(surface->iBitmapFormat) : 0;
    if (bits == 0 || !rect) return FALSE;
    const LONG left = std::max<LONG>(rect->left, 0), right = std::min(rect->right, surface->sizlBitmap.cx);
    const LONG top = std::max<LONG>(rect->top, 0), bottom = std::min(rect->bottom, surface->sizlBitmap.cy);
    for (LONG y = top; y < bottom; ++y) {
        BYTE* row = static_cast<BYTE*>(surface->pvScan0) + ptrdiff_t{y} * surface->lDelta;
        for (LONG x = left; x < right; ++x) put(row, x, bits, colour);
    }
    return TRUE;
}
