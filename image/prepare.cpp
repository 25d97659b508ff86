#include "image/prepare.h"

#include <utility>

#include "support/assert.h"

namespace kv {
namespace {

constexpr LONG kLeastShrink = 2;  // pixels

// The limit that applies to a source of that depth, 0 for none.
LONG resolution_limit(const PrivateDevMode& settings, WORD bit_count) {
    const bool mono = bit_count == 1;
    const bool enabled = settings.Compression & (mono ? kCompressDownsampleMono : kCompressDownsample);
    return !enabled ? 0 : mono ? settings.ResDownSampMono : settings.ResDownSamp;
}

// Puts the bitmap that a step made in the place of the one before it.
void replace(PackedDib& current, PackedDib& next) {
    KV_ASSERT(next && &current != &next);
    current.reset();
    current = std::move(next);
}

}  // namespace

DibView PrepareBitmap(const PrivateDevMode& settings, const DibView& source, LONG resolution, PackedDib& result) {
    const bool reduce = settings.Compression & kCompressReduceColors;
    result.reset();
    if (reduce) ReduceColorDepth(source, result);
    const LONG limit = resolution_limit(settings, source.header->biBitCount);
    PackedDib next;
    if (limit > 0 && resolution > limit && DownsampleDib(result ? result.view() : source, resolution, limit, next)) {
        replace(result, next);
        if (reduce && ReduceColorDepth(result.view(), next)) replace(result, next);
    }
    return result ? result.view() : source;
}

BOOL ScaledSize(LONG width, LONG height, LONG source_resolution, LONG target_resolution, LONG* new_width,
                LONG* new_height) {
    if (width <= 0 || height <= 0 || target_resolution <= 0 || source_resolution <= target_resolution) return FALSE;
    const LONG w = MulDiv(width, target_resolution, source_resolution);
    const LONG h = MulDiv(height, target_resolution, source_resolution);
    if (w <= 0 || h <= 0 || width - w < kLeastShrink || height - h < kLeastShrink) return FALSE;
    *new_width = w;
    KV_ASSERT(w < width && h < height);
    *new_height = h;
    return TRUE;
}

}  // namespace kv
