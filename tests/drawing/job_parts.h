#pragma once
// Records that tests of drawing put into their jobs.

#include "tests/common/samples.h"

namespace kvjob::test {

inline constexpr uint32_t kWhite = 0xFFFFFF, kBlack = 0, kRed = 0xFF0000, kBlue = 0x0000FF;

// Brush identifiers of colours given as 0x00RRGGBB.
inline uint32_t solid(uint32_t rgb) { return 0x40000000 | (rgb & 0xFF) << 16 | (rgb & 0xFF00) | rgb >> 16; }
inline Buffer path16(std::initializer_list<int64_t> points, int flags = 0x0B) {
    return Body().u8({0, 1, flags, static_cast<int>(points.size() / 2)}).u16(points);
}
inline Buffer fill16(int rop, int left, int top, int right, int bottom) {
    return Body().u8({rop}).add(rect16(left, top, right, bottom));
}
inline Buffer fill_brush(uint32_t brush) { return Body().u16({0x08}).u32({brush}); }
// The sample font's capital I: a stem of about a tenth of the em, 0.73 em high.
inline Buffer letters(const std::u16string& text, int x, int y, int advance) {
    Body body;
    body.u8({0x40, static_cast<int>(text.size())}).text(text).u16({0, x, y});
    for (size_t i = 0; i < text.size(); ++i) body.u16({advance});
    return body;
}

}  // namespace kvjob::test
