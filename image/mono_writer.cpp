#include "image/mono_writer.h"

#include <algorithm>
#include <utility>

namespace kv {

void MonoWriter::Sums::add(const Sums& other, int sign) {
    count += sign * other.count;
    dark += sign * other.dark;
    dots += sign * other.dots;
    light_dots += sign * other.light_dots;
    drawn += sign * other.drawn;
}

bool MonoWriter::Sums::is_drawing() const {
    const int light = count * kFull - dark, left = (count - drawn) * kFull;
    return 3 * left >= 2 * light && (dark < light ? 5 * dots <= dark : 5 * light_dots <= light);
}

BOOL MonoWriter::open(DWORD dark) {
    width_ = static_cast<DWORD>(result_.header().biWidth);
    height_ = static_cast<DWORD>(result_.header().biHeight);
    dark_ = dark;
    return pixels_.alloc(size_t{width_} * kRows, kQuietly) && columns_.alloc(width_, kQuietly) &&
           errors_.alloc(2 * (size_t{width_} + 2), kQuietly);
}

void MonoWriter::add_row(DWORD row, int sign) {
    const Pixel* pixels = row_of(row);
    for (DWORD i = 0; i < width_; ++i) {
        const Pixel& pixel = pixels[i];
        columns_[i].add({1, pixel.dark, pixel.dots, pixel.light_dots, pixel.drawn}, sign);
    }
}

void MonoWriter::write_row() {
    add_row(taken_, 1);
    step();
}

void MonoWriter::finish() {
    for (DWORD i = 0; i < kAround; ++i) step();
}

// The row whose neighbourhood is complete.
void MonoWriter::step() {
    if (taken_ >= kAround && taken_ - kAround < height_) decide(taken_ - kAround);
    ++taken_;
    if (taken_ >= kRows && taken_ - kRows < height_) add_row(taken_ - kRows, -1);
}

void MonoWriter::decide(DWORD row) {
    const Pixel* pixels = row_of(row);
    BYTE* to = result_.bits() + row * static_cast<size_t>(dib_stride(result_.header()));
    Sums around;
    for (DWORD i = 0; i < std::min(kAround, width_); ++i) around.add(columns_[i], 1);
    DWORD byte = 0;
    for (DWORD i = 0; i < width_; ++i) {
        if (i + kAround < width_) around.add(columns_[i + kAround], 1);
        if (i > kAround) around.add(columns_[i - kAround - 1], -1);
        byte = byte << 1 | (is_dark(pixels[i], around, i) ? dark_ : 1 - dark_);
        if (i % 8 == 7) *to++ = static_cast<BYTE>(byte);
    }
    if (width_ % 8 != 0) *to = static_cast<BYTE>(byte << (8 - width_ % 8));
    std::copy_n(errors_.get() + width_ + 2, width_ + 2, errors_.get());
    std::fill_n(errors_.get() + width_ + 2, width_ + 2, 0);
}

// Errors spread in Floyd and Steinberg's shares. Where it is light, less than half a pixel's darkness is enough for a
// dark one, and where it is dark more than half is needed: else it takes many rows until the first comes.
bool MonoWriter::is_dark(const Pixel& pixel, const Sums& around, DWORD at) {
    const bool drawing = around.is_drawing(), drawn = drawing && pixel.drawn;
    int* here = errors_.get() + at + 1;
    int* next = here + width_ + 2;
    const int value = std::exchange(*here, 0) + (drawn ? 0 : drawing ? pixel.dots : pixel.dark);
    const bool dark = drawn || 4 * value * around.count >= kFull * around.count + 2 * around.dark;
    const int error = value - (dark && !drawn ? kFull : 0);
    const int shares[] = {error * 7 / 16, error * 3 / 16, error * 5 / 16};
    here[1] += shares[0];
    next[-1] += shares[1];
    next[0] += shares[2];
    next[1] += error - shares[0] - shares[1] - shares[2];
    return dark;
}

}  // namespace kv
