#include "tools/fidelity/sheet.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace fidelity {
namespace {

constexpr int kThumbnail = 320, kGap = 8, kColumns = 2;  // pixels; groups of three pages in a row of the sheet

// Fitted into a square, each pixel the mean of those that it stands for.
Picture thumbnail(const Picture& page) {
    const double scale = std::max(1.0, std::max(page.width, page.height) / static_cast<double>(kThumbnail));
    Picture small(std::max(1, static_cast<int>(page.width / scale)),
                  std::max(1, static_cast<int>(page.height / scale)));
    auto place = [&](int at, int limit) { return std::min(static_cast<int>(at * scale), limit); };
    for (int y = 0; y < small.height; ++y) {
        const int top = place(y, page.height - 1), bottom = std::max(top + 1, place(y + 1, page.height));
        for (int x = 0; x < small.width; ++x) {
            const int left = place(x, page.width - 1), right = std::max(left + 1, place(x + 1, page.width));
            int sums[3] = {};
            for (int v = top; v < bottom; ++v) {
                for (int u = left; u < right; ++u) {
                    for (int c = 0; c < 3; ++c) sums[c] += page.at(u, v)[c];
                }
            }
            const int count = (bottom - top) * (right - left);
            for (int c = 0; c < 3; ++c) small.at(x, y)[c] = static_cast<uint8_t>(sums[c] / count);
        }
    }
    return small;
}

void paste(const Picture& part, int left, int top, Picture& whole) {
    for (int y = 0; y < part.height; ++y) {
        std::memcpy(whole.at(left, top + y), part.at(0, y), static_cast<size_t>(part.width) * 3);
    }
}

}  // namespace

Picture difference_of(const Picture& first, const Picture& second) {
    Picture difference(first.width, first.height);
    for (size_t i = 0; i < difference.bytes.size(); ++i) {
        difference.bytes[i] = static_cast<uint8_t>(255 - std::abs(first.bytes[i] - second.bytes[i]));
    }
    return difference;
}

void ContactSheet::add(const Picture& source, const Picture& job, const Picture& difference) {
    rows_.push_back({thumbnail(source), thumbnail(job), thumbnail(difference)});
}

Picture ContactSheet::picture() const {
    int width = 1, height = 1;
    for (const Row& row : rows_) {
        width = std::max(width, row.source.width);
        height = std::max(height, row.source.height);
    }
    const int columns = std::min(kColumns, std::max(1, static_cast<int>(rows_.size())));
    const int lines = (static_cast<int>(rows_.size()) + columns - 1) / columns;
    const int group = 3 * (width + kGap) + 2 * kGap;
    Picture sheet(columns * group + kGap, lines * (height + kGap) + kGap);
    std::fill(sheet.bytes.begin(), sheet.bytes.end(), uint8_t{160});
    for (size_t i = 0; i < rows_.size(); ++i) {
        const auto index = static_cast<int>(i);
        const int left = kGap + index % columns * group, top = kGap + index / columns * (height + kGap);
        paste(rows_[i].source, left, top, sheet);
        paste(rows_[i].job, left + width + kGap, top, sheet);
        paste(rows_[i].difference, left + 2 * (width + kGap), top, sheet);
    }
    return sheet;
}

}  // namespace fidelity
