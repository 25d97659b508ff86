// Any surface through the converter: nothing is read beyond its bits or its mask's, what comes out is a sound bitmap,
// and with nothing to reduce it holds the pixels that were asked for.

#include <algorithm>
#include <memory>
#include <vector>

#include "driver/pdevice.h"
#include "engine/objects.h"
#include "record/surface_dib.h"
#include "tests/fuzz/fuzz_input.h"

namespace kv {
namespace {

// Small, or one of the ends of the range.
LONG coordinate(FuzzInput& in) {
    const auto value = static_cast<LONG>(in.u8());
    return value < 0xF0 ? value - 40 : static_cast<LONG>(in.u32());
}
RECTL rect(FuzzInput& in) {
    RECTL rect;
    for (LONG* side : {&rect.left, &rect.top, &rect.right, &rect.bottom}) *side = coordinate(in);
    return rect;
}

// Of a known format its bits lie in a block of exactly their size; the rest of the surface may be anything.
std::unique_ptr<engine::Bitmap> make_bitmap(FuzzInput& in) {
    const ULONG format = 1 + in.u8() % 8;
    const LONG width = 1 + static_cast<LONG>(in.u8() % 100), height = 1 + static_cast<LONG>(in.u8() % 60);
    const auto order = in.u8() % 2 ? engine::RowOrder::TopDown : engine::RowOrder::BottomUp;
    std::unique_ptr<engine::Bitmap> bitmap;
    if (format > BMF_32BPP) {
        std::vector<BYTE> encoded(1 + in.u8());
        for (BYTE& byte : encoded) byte = static_cast<BYTE>(in.u8());
        bitmap = std::make_unique<engine::Bitmap>(format, width, height, std::move(encoded));
    } else {
        bitmap = std::make_unique<engine::Bitmap>(format, width, height, order);
        auto* bits = static_cast<BYTE*>(bitmap->pvBits);
        for (ULONG i = 0, seed = in.u32(); i < bitmap->cjBits; ++i) {
            seed = seed * 1664525 + 1013904223;
            bits[i] = static_cast<BYTE>(i % 4 ? seed >> 24 : in.u8());
        }
    }
    switch (in.u8()) {
        case 1:
            bitmap->iBitmapFormat = in.u32();
            bitmap->sizlBitmap = {};  // what is not known has no bits to speak of
            break;
        case 2:
            bitmap->lDelta = static_cast<LONG>(in.u32());
            break;
        case 3:
            bitmap->pvBits = nullptr;
            break;
    }
    return bitmap;
}

std::unique_ptr<engine::Translation> make_translation(FuzzInput& in) {
    switch (in.u8() % 6) {
        case 0:
            return nullptr;
        case 1:
            return std::make_unique<engine::Translation>(in.u32(), in.u32(), in.u32());
        case 2: {
            const DWORD factor = in.u32();
            return std::make_unique<engine::Translation>([factor](ULONG bit) { return bit * factor; });
        }
        default: {
            std::vector<ULONG> table(in.u8() % 2 ? 256 : in.u8());
            for (ULONG& color : table) color = in.u8() * 0x01010101;
            return std::make_unique<engine::Translation>(std::move(table));
        }
    }
}

ULONG stored_pixel(const DibView& dib, LONG x, LONG row) {
    const BITMAPINFOHEADER& header = *dib.header;
    const size_t bit = static_cast<size_t>(x) * header.biBitCount;
    const BYTE* at = dib.bits + static_cast<size_t>(row) * dib_stride(header) + bit / 8;
    if (header.biBitCount < 8) return *at >> (8 - header.biBitCount - bit % 8) & ((1u << header.biBitCount) - 1);
    ULONG value = 0;
    for (int i = 0; i < header.biBitCount / 8; ++i) value |= ULONG{at[i]} << (8 * i);
    return value;
}

// The image holds what of the rectangle lies within the surface, lowest row first.
void check_pixels(engine::Bitmap& bitmap, const RECTL& rect, bool masked, const SurfaceImage& image) {
    const DibView dib = image.view();
    if (!has_plain_rows(*dib.header)) return;
    const LONG left = masked ? 0 : std::max<LONG>(rect.left, 0), top = std::max<LONG>(rect.top, 0);
    const LONG right = masked ? bitmap.width() : std::min(rect.right, bitmap.width());
    const LONG bottom = std::min(rect.bottom, bitmap.height());
    require(dib.header->biWidth == right - left && dib.header->biHeight == bottom - top);
    for (LONG y = top; y < bottom; ++y) {
        for (LONG x = left; x < right; ++x) {
            require(stored_pixel(dib, x - left, bottom - 1 - y) == bitmap.pixel(x, y));
        }
    }
}

void check_sound(const DibView& dib) {
    const BITMAPINFOHEADER& header = *dib.header;
    require(header.biSize == sizeof header && header.biPlanes == 1 && header.biWidth > 0 && header.biHeight > 0);
    PackedDib copy;
    require(copy.copy(dib));  // every byte of it can be read
}

void run(FuzzInput& in) {
    static PDEVICE device;
    PrivateDevMode& settings = device.settings.kv;
    settings.Compression = static_cast<WORD>(in.u8());
    settings.ResDownSamp = static_cast<WORD>(in.u8());
    settings.ResDownSampMono = static_cast<WORD>(in.u8());
    settings.Resolution = static_cast<WORD>(in.u8() * 10);
    auto bitmap = make_bitmap(in);
    auto mask = in.u8() % 4 == 1 ? make_bitmap(in) : nullptr;
    auto translation = make_translation(in);
    SurfaceRequest request = {.surface = bitmap.get()};
    request.translation = translation.get();
    request.mask = mask.get();
    request.source = rect(in);
    request.destination = rect(in);
    request.resolution = ImageResolution(device, request.source, request.destination);
    request.keep_alpha = in.u8() % 2;
    request.may_merge = in.u8() % 2;
    request.rop = static_cast<BYTE>(in.u8());
    if (const DWORD failing = in.u8() % 8) host::fail_call(host::CallKind::Allocation, failing);
    SurfaceImage image;
    const BOOL converted = ConvertSurfaceToDib(device, request, image);
    host::clear_failures();
    device.pending.clear();
    if (!converted || image.merged) return;
    check_sound(image.view());
    if (image.mask) check_sound(image.mask.view());
    constexpr WORD kChanging = kCompressReduceColors | kCompressDownsample | kCompressDownsampleMono;
    if (!(settings.Compression & kChanging)) check_pixels(*bitmap, request.source, mask != nullptr, image);
}

}  // namespace
}  // namespace kv

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kv::host::set_messages_quiet(true);
    kv::FuzzInput in(data, size);
    kv::run(in);
    return 0;
}
