#include "image/mono_rows.h"

#include <cstring>

namespace kv {
namespace {

// A byte of 0 or 1 for each of eight bits, the highest in the first byte.
uint64_t spread(DWORD byte) {
    const uint64_t bits = (byte & 0xFF) * 0x0101010101010101ull & 0x0102040810204080ull;
    return (bits + 0x7F7F7F7F7F7F7F7Full) >> 7 & 0x0101010101010101ull;
}

// Of a word of `here`: what is in no square of two by two.
DWORD thin(const DWORD* above, const DWORD* here, const DWORD* below) {
    const auto left = [](const DWORD* at) { return at[0] >> 1 | at[-1] << 31; };
    const auto right = [](const DWORD* at) { return at[0] << 1 | at[1] >> 31; };
    const DWORD thick = (left(here) & ((*above & left(above)) | (*below & left(below)))) |
                        (right(here) & ((*above & right(above)) | (*below & right(below))));
    return *here & ~thick;
}

}  // namespace

BOOL MonoRows::open(const PixelReader& pixels, DWORD dark) {
    pixels_ = &pixels;
    inverted_ = dark == 1 ? 0 : ~0u;
    words_ = (pixels.width() + 31) / 32;
    pushed_ = 0;
    return rows_.alloc(size_t{words_} * 2, kQuietly) && dark_.open(words_) && light_.open(words_);
}

void MonoRows::push(DWORD row) {
    DWORD *dark = rows_.get(), *light = dark + words_;
    if (row < pixels_->rows()) {
        const BYTE* stored = pixels_->stored_row(row);  // padded to whole double words
        for (DWORD i = 0; i < words_; ++i, stored += 4) {
            dark[i] = (DWORD{stored[0]} << 24 | DWORD{stored[1]} << 16 | DWORD{stored[2]} << 8 | stored[3]) ^ inverted_;
            light[i] = ~dark[i];
        }
        const DWORD rest = pixels_->width() % 32, inside = rest ? ~(~0u >> rest) : ~0u;
        dark[words_ - 1] &= inside;
        light[words_ - 1] &= inside;
    } else {
        std::memset(dark, 0, size_t{words_} * 2 * sizeof(DWORD));
    }
    dark_.push(dark);
    light_.push(light);
}

void MonoRows::read(DWORD row, bool doubled, BYTE* planes) {
    for (; pushed_ <= row + Strokes::kDelay; ++pushed_) push(pushed_);
    const DWORD *above = dark_.above(), *dark = dark_.here(), *below = dark_.below(), *strokes = dark_.strokes();
    const DWORD *light = light_.here(), *light_strokes = light_.strokes();
    const DWORD size = plane_size();
    for (DWORD i = 0; i < words_; ++i) {
        const DWORD dots = dark[i] & ~strokes[i], light_dots = light[i] & ~light_strokes[i];
        const DWORD lines = doubled ? strokes[i] & thin(above + i, dark + i, below + i) : 0;
        for (int shift = 24; shift >= 0; shift -= 8, planes += 8) {
            const auto put = [&](Plane plane, uint64_t bytes) {
                std::memcpy(planes + size_t{plane} * size, &bytes, sizeof bytes);
            };
            put(kDark, spread(dark[i] >> shift));
            put(kLine, spread(strokes[i] >> shift) + spread(lines >> shift));
            put(kDarkDots, spread(dots >> shift));
            put(kLightDots, spread(light_dots >> shift));
        }
    }
}

}  // namespace kv
