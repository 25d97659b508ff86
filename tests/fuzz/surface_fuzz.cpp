// Any surface through the converter: nothing is read beyond its bits or its mask's, what comes out is a sound bitmap,
// and with nothing to reduce it holds the pixels that were asked for.

#include <algorithm>
#include <memory>
#include <vector>

#include "driver/pdevice.h"
#include "record/surface_dib.h"
#include "tests/fuzz/common/objects.h"

namespace kv {
namespace {

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
    auto bitmap = take_bitmap(in);
    auto mask = in.u8() % 4 == 1 ? take_bitmap(in) : nullptr;
    auto translation = take_translation(in);
    SurfaceRequest request = {.surface = bitmap.get()};
    request.translation = translation.get();
    request.mask = mask.get();
    request.source = take_rect(in);
    request.destination = take_rect(in);
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
