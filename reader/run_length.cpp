#include "reader/run_length.h"

#include <algorithm>

namespace kvjob {
namespace {

constexpr uint64_t kLargestRun = 255;            // pixels in two bytes
constexpr uint64_t kLargestElsewhere = 1 << 27;  // pixels, which moves and ends of lines may leave out
constexpr size_t kWidestElsewhere = 1 << 22;

[[noreturn]] void bad(const std::string& what) { throw BodyFault("run-length data: " + what); }

class Decoder {
public:
    Decoder(const Dib& dib, RunLengthOrigin origin)
        : in_(dib.bits),
          width_(static_cast<size_t>(dib.width)),
          height_(static_cast<size_t>(dib.height)),
          four_bits_(dib.compression == DibCompression::Rle4),
          whole_rows_(origin == RunLengthOrigin::Driver) {
        const uint64_t pixels = uint64_t{width_} * height_;
        const uint64_t most = whole_rows_ ? dib.bits.size() * kLargestRun / 2 : kLargestElsewhere;
        if (pixels > most || (!whole_rows_ && width_ > kWidestElsewhere)) bad("cannot hold the bitmap");
        pixels_.resize(pixels);
    }

    std::vector<uint8_t> run() {
        bool ended = false;
        while (!ended) {
            const uint8_t count = in_.u8();
            const uint8_t value = in_.u8();
            if (count > 0) {
                put_run(count, value);
            } else {
                ended = escape(value);
            }
        }
        in_.expect_end();
        return std::move(pixels_);
    }

private:
    enum Escape : uint8_t { kEndOfLine, kEndOfBitmap, kDelta };

    // True at the end of the bitmap.
    bool escape(uint8_t code) {
        switch (code) {
            case kEndOfLine:
                if (whole_rows_ && x_ != width_) bad("a row ends before its last pixel");
                if (y_ == height_) bad("more rows than the bitmap has");
                ++y_;
                x_ = 0;
                return false;
            case kEndOfBitmap:
                if (whole_rows_ && (y_ != height_ || x_ != 0)) bad("ends before the last row");
                return true;
            case kDelta:
                if (whole_rows_) bad("a move");
                x_ += in_.u8();
                y_ += in_.u8();
                if (x_ > width_ || y_ > height_) bad("a move beyond the bitmap");
                return false;
            default:
                put_literal(code);
                return false;
        }
    }

    uint8_t* place(size_t count) {
        if (y_ >= height_ || count > width_ - x_) bad("pixels beyond the row");
        uint8_t* at = pixels_.data() + (height_ - 1 - y_) * width_ + x_;  // the last row stands first
        x_ += count;
        return at;
    }

    void put_run(uint8_t count, uint8_t value) {
        uint8_t* at = place(count);
        if (!four_bits_) {
            std::fill_n(at, count, value);
            return;
        }
        for (int i = 0; i < count; ++i) at[i] = i % 2 ? value & 0x0F : value >> 4;
    }

    void put_literal(uint8_t count) {
        uint8_t* at = place(count);
        const size_t size = four_bits_ ? (count + 1u) / 2 : count;
        const Bytes bytes = in_.take(size);
        for (int i = 0; i < count; ++i) {
            at[i] = !four_bits_ ? bytes[i] : i % 2 ? bytes[i / 2] & 0x0F : bytes[i / 2] >> 4;
        }
        if (size % 2 && in_.u8() != 0 && whole_rows_) bad("a pad byte that is not 0");
    }

    Reader in_;
    size_t width_, height_;
    bool four_bits_, whole_rows_;
    size_t x_ = 0, y_ = 0;  // of the next pixel, from the left and the bottom
    std::vector<uint8_t> pixels_;
};

}  // namespace

std::vector<uint8_t> decode_run_length(const Dib& dib, RunLengthOrigin origin) { return Decoder(dib, origin).run(); }

}  // namespace kvjob
