#include "drawing/resample.h"

#include <cmath>

namespace kvjob {
namespace {

uint32_t packed(float a, float r, float g, float b) {
    auto byte = [](float value) { return static_cast<uint32_t>(std::clamp(value + 0.5f, 0.0f, 255.0f)); };
    return byte(a) << 24 | byte(r) << 16 | byte(g) << 8 | byte(b);
}

}  // namespace

Resampler::Resampler(int32_t source_width, int32_t source_height, const Rect& target, const Rect& visible)
    : source_height_(source_height),
      target_(ordered(target)),
      flipped_across_(target.left > target.right),
      flipped_down_(target.top > target.bottom) {
    block_.area = intersection(target_, visible);
    const int64_t target_width = int64_t{target_.right} - target_.left;
    rows_per_target_ = static_cast<double>(source_height) / static_cast<double>(int64_t{target_.bottom} - target_.top);
    if (block_.area.empty() || source_width <= 0 || source_height <= 0) return;
    const auto width = static_cast<size_t>(block_.width());
    block_.pixels.resize(width * static_cast<size_t>(block_.area.bottom - block_.area.top));
    squeezed_.resize(width);
    sum_.resize(width);
    const double scale = static_cast<double>(source_width) / static_cast<double>(target_width);
    for (int32_t x = block_.area.left; x < block_.area.right; ++x) {
        const int64_t place = flipped_across_ ? int64_t{target_.right} - 1 - x : int64_t{x} - target_.left;
        const double from = static_cast<double>(place) * scale, to = static_cast<double>(place + 1) * scale;
        Span span = {};
        span.first = std::min(static_cast<int32_t>(from), source_width - 1);
        span.last = std::clamp(static_cast<int32_t>(std::ceil(to)) - 1, span.first, source_width - 1);
        const double whole = to - from;
        span.first_weight = static_cast<float>((std::min(to, span.first + 1.0) - from) / whole);
        span.last_weight = span.last == span.first ? 0 : static_cast<float>((to - span.last) / whole);
        columns_.push_back(span);
    }
}

// Averages a source row over the target's columns.
void Resampler::squeeze(std::span<const uint32_t> row) {
    auto add = [](Channels& sum, uint32_t pixel, float weight) {
        sum.a += static_cast<float>(pixel >> 24) * weight;
        sum.r += static_cast<float>(pixel >> 16 & 0xFF) * weight;
        sum.g += static_cast<float>(pixel >> 8 & 0xFF) * weight;
        sum.b += static_cast<float>(pixel & 0xFF) * weight;
    };
    for (size_t x = 0; x < columns_.size(); ++x) {
        const Span& span = columns_[x];
        Channels sum = {};
        add(sum, row[static_cast<size_t>(span.first)], span.first_weight);
        if (span.last > span.first) {
            const int32_t between = span.last - span.first - 1;
            if (between > 0) {
                const float weight = (1 - span.first_weight - span.last_weight) / static_cast<float>(between);
                for (int32_t i = span.first + 1; i < span.last; ++i) add(sum, row[static_cast<size_t>(i)], weight);
            }
            add(sum, row[static_cast<size_t>(span.last)], span.last_weight);
        }
        squeezed_[x] = sum;
    }
}

void Resampler::add_squeezed(int32_t target_row, float weight) {
    for (size_t x = 0; x < sum_.size(); ++x) {
        sum_[x].a += squeezed_[x].a * weight;
        sum_[x].r += squeezed_[x].r * weight;
        sum_[x].g += squeezed_[x].g * weight;
        sum_[x].b += squeezed_[x].b * weight;
    }
    weight_ += static_cast<double>(weight);
    constexpr double kWhole = 1 - 1e-4;
    if (weight_ >= kWhole) finish(target_row);
}

void Resampler::finish(int32_t target_row) {
    const int64_t place = flipped_down_ ? int64_t{target_.bottom} - 1 - target_row : int64_t{target_.top} + target_row;
    const auto offset = static_cast<size_t>(place - block_.area.top) * sum_.size();
    for (size_t x = 0; x < sum_.size(); ++x) {
        block_.pixels[offset + x] = packed(sum_[x].a, sum_[x].r, sum_[x].g, sum_[x].b);
        sum_[x] = {};
    }
    weight_ = 0;
}

void Resampler::add_row(std::span<const uint32_t> row) {
    const int32_t source_row = next_source_++;
    if (nothing_visible() || source_row >= source_height_) return;
    // The target rows, counted from where the source's top goes, that the source row touches and that are visible.
    int64_t low = int64_t{block_.area.top} - target_.top, high = int64_t{block_.area.bottom} - target_.top;
    if (flipped_down_) {
        low = int64_t{target_.bottom} - block_.area.bottom;
        high = int64_t{target_.bottom} - block_.area.top;
    }
    const double from = source_row / rows_per_target_, to = (source_row + 1) / rows_per_target_;
    const int64_t first = std::max(low, static_cast<int64_t>(from));
    const int64_t end = std::min(high, static_cast<int64_t>(std::ceil(to)));
    if (first >= end) return;
    squeeze(row);
    for (int64_t y = first; y < end; ++y) {
        const double covered = std::min(to, static_cast<double>(y + 1)) - std::max(from, static_cast<double>(y));
        const bool last = source_row + 1 == source_height_ && y + 1 == end;
        if (covered > 0) add_squeezed(static_cast<int32_t>(y), static_cast<float>(covered));
        if (last && weight_ > 0) finish(static_cast<int32_t>(y));
    }
}

}  // namespace kvjob
