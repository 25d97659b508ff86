#pragma once
// How the pixels of a bitmap are stored in a job, and the encoders.

#include "image/dib.h"
#include "settings/device_mode.h"
#include "support/global_obj.h"

namespace kv {

enum class BitmapEncoding { Plain, Jpeg, Rle8, Rle4 };
BitmapEncoding SelectBitmapEncoding(const PrivateDevMode& settings, const DibView& dib);
// 24 bits, or 8 bits with a gray ramp; plain bottom-up rows of at least 1024 bytes in all.
bool IsJpegCandidate(const DibView& dib);

// A baseline JPEG of a bottom-up bitmap of 8 or 24 bits per pixel: one gray component for 8 bits, YCbCr for 24. The
// stream is stream.used() bytes. FALSE, and nothing held, for other bitmaps and when memory is out.
BOOL CompressDibToJpeg(const DibView& dib, int quality, CGlobalObj& stream);

// Run-length encoding of rows that follow each other at `stride` bytes, total_size bytes in all, each `width` pixels:
// BI_RLE8 of 8-bit and BI_RLE4 of 4-bit pixels. The sink takes the encoded bytes in order, with the context, and
// returns FALSE to abort; it may be null, when only *encoded_size is wanted. FALSE when aborted.
using RleSink = BOOL (*)(const void* data, DWORD size, void* context);
BOOL EncodeRle8(const BYTE* bits, DWORD total_size, DWORD width, DWORD stride, RleSink sink, void* context,
                DWORD* encoded_size);
BOOL EncodeRle4(const BYTE* bits, DWORD total_size, DWORD width, DWORD stride, RleSink sink, void* context,
                DWORD* encoded_size);

}  // namespace kv
