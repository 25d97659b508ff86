#pragma once
// What a raster operation makes of a picture that is drawn smaller. Bits of a mean mean nothing to it: of a picture
// whose channels have two values each, as those of every 1-bit image have, it is done with either value, and the
// results are mixed as the picture's pixels were.

#include <array>
#include <cstdint>
#include <span>

namespace kvjob {

// The values that each channel of a picture has, as long as there are no more than two.
class SourceColours {
public:
    void add(std::span<const uint32_t> row) {  // 0x??RRGGBB
        if (!two_) return;
        uint32_t last = seen_ ? first_ : ~row.front();
        for (const uint32_t pixel : row) {
            if (pixel == last) continue;
            last = pixel;
            note(pixel);
        }
    }

    // The mean of an operation's results where `mean` is that of the pixels.
    template <class Operation>
    uint32_t mean(uint32_t mean, Operation operation) const {
        if (!two_ || !seen_) return operation(mean);
        const uint32_t of_first = operation(first_), of_second = operation(second_);
        if (of_first == of_second) return of_first;
        uint32_t result = 0;
        for (const int shift : kShifts) {
            const int from = channel(first_, shift), whole = channel(second_, shift) - from;
            const int part = channel(mean, shift) - from, start = channel(of_first, shift);
            int value = start;
            if (whole != 0) {
                const int change = (channel(of_second, shift) - start) * part;
                value += (2 * change + ((change < 0) == (whole < 0) ? whole : -whole)) / (2 * whole);
            }
            result |= static_cast<uint32_t>(value) << shift;
        }
        return result;
    }

private:
    static constexpr std::array<int, 3> kShifts = {16, 8, 0};
    static int channel(uint32_t pixel, int shift) { return static_cast<int>(pixel >> shift & 0xFF); }

    void note(uint32_t pixel) {
        if (!seen_) first_ = second_ = pixel;
        seen_ = true;
        for (const int shift : kShifts) {
            const uint32_t mask = uint32_t{0xFF} << shift, value = pixel & mask;
            if (value == (first_ & mask) || value == (second_ & mask)) continue;
            if ((first_ & mask) != (second_ & mask)) two_ = false;
            second_ = (second_ & ~mask) | value;
        }
    }

    uint32_t first_ = 0, second_ = 0;
    bool seen_ = false, two_ = true;
};

}  // namespace kvjob
