// The run-length encodings BI_RLE8 and BI_RLE4 of device-independent bitmaps.
//
// A run is a count of pixels (1-255) and the byte that they repeat. Literal bytes are written in absolute mode: 0, a
// count of pixels of at least 3 (0, 1 and 2 are the codes of the end of a row, of the bitmap, and of a jump), the
// bytes, padded to an even number. Both encodings split a row by the same plan, on bytes, with their own bounds.

#include <algorithm>
#include <cstring>

#include "image/encoding.h"
#include "support/assert.h"
#include "support/trace.h"

namespace kv {
namespace {

struct RleRules {
    DWORD pixels_per_byte;
    DWORD min_literal;            // bytes; what absolute mode can say
    DWORD min_run_after_literal;  // bytes; shorter runs cost less inside the literal
    DWORD max_piece;              // bytes
};
constexpr RleRules kRle8 = {1, 3, 5, 255};
constexpr RleRules kRle4 = {2, 2, 3, 127};
constexpr DWORD kMinRun = 2;  // bytes

class RleEncoder {
public:
    RleEncoder(const RleRules& rules, DWORD width, RleSink sink, void* context)
        : rules_(rules),
          width_(width),
          row_size_((width - 1) / rules.pixels_per_byte + 1),
          sink_(sink),
          context_(context) {}

    DWORD row_size() const { return row_size_; }
    void encode_row(const BYTE* row);
    BOOL finish(DWORD* encoded_size);
    bool aborted() const { return aborted_; }

private:
    void put_literal(const BYTE* row, DWORD begin, DWORD end);
    void put_run(BYTE value, DWORD begin, DWORD end);
    bool is_short_tail(const BYTE* row, DWORD begin) const;
    BYTE pixels(DWORD begin, DWORD end) const;
    void put_pair(BYTE first, BYTE second);
    void drain();

    // Bytes that wait for the sink, and that one literal takes: its code, pixels and padding.
    static constexpr DWORD kStageSize = 4096, kLargestPiece = 2 + 255 + 1;
    static_assert(kRle8.max_piece <= 255 && 2 * kRle4.max_piece <= 255, "counts of pixels are bytes");
    static_assert(2 + kRle8.max_piece + 1 <= kLargestPiece && 2 * kLargestPiece <= kStageSize);
    const RleRules& rules_;
    const DWORD width_, row_size_;
    const RleSink sink_;
    void* const context_;
    bool aborted_ = false;
    uint64_t total_ = 0;
    DWORD staged_ = 0;
    BYTE stage_[kStageSize];
};

// The first byte from `begin` on that equals the one behind it; `end` when there is none.
DWORD find_pair(const BYTE* row, DWORD begin, DWORD end) {
    for (DWORD at = begin + 1; at < end; ++at) {
        if (row[at] == row[at - 1]) return at - 1;
    }
    return end;
}

DWORD find_run_end(const BYTE* row, DWORD begin, DWORD end) {
    DWORD at = begin;
    while (at < end && row[at] == row[begin]) ++at;
    return at;
}

// Too few bytes for a literal of their own, and not a run either.
bool RleEncoder::is_short_tail(const BYTE* row, DWORD begin) const {
    const DWORD size = row_size_ - begin;
    return size == 1 || (size > 1 && size < rules_.min_literal && row[begin] != row[begin + 1]);
}

void RleEncoder::encode_row(const BYTE* row) {
    DWORD literal = 0;  // where the literal not yet written begins
    for (DWORD at = 0; at < row_size_ && !aborted_;) {
        DWORD run = find_pair(row, at, row_size_);
        DWORD run_end = find_run_end(row, run, row_size_);
        at = run_end;
        if (run > literal && run - literal < rules_.min_literal) {
            run += std::min(rules_.min_literal - (run - literal), run_end - run);
        }
        const DWORD length = run_end - run;
        if (length < kMinRun || (run > literal && length < rules_.min_run_after_literal)) continue;
        if (is_short_tail(row, run_end)) {
            at = row_size_;
            if (length < rules_.min_run_after_literal) break;
            run_end -= rules_.min_literal - (row_size_ - run_end);
        }
        KV_ASSERT(literal <= run && run < run_end && run_end <= row_size_);
        put_literal(row, literal, run);
        put_run(row[run], run, run_end);
        literal = run_end;
    }
    put_literal(row, literal, row_size_);
    put_pair(0, 0);
}

// An odd width ends within a byte.
BYTE RleEncoder::pixels(DWORD begin, DWORD end) const {
    const DWORD count = (end - begin) * rules_.pixels_per_byte;
    KV_ASSERT(begin < end && end <= row_size_ && count <= 255);
    return static_cast<BYTE>(uint64_t{end} * rules_.pixels_per_byte > width_ ? count - 1 : count);
}

void RleEncoder::put_literal(const BYTE* row, DWORD begin, DWORD end) {
    if (end - begin < rules_.min_literal) {  // the row itself is shorter
        for (; begin < end; ++begin) put_run(row[begin], begin, begin + 1);
        return;
    }
    while (begin < end && !aborted_) {
        DWORD size = std::min(end - begin, rules_.max_piece);
        const DWORD rest = end - begin - size;
        if (rest > 0 && rest < rules_.min_literal) size -= rules_.min_literal - rest;
        put_pair(0, pixels(begin, begin + size));
        KV_ASSERT(size >= rules_.min_literal && size <= rules_.max_piece);
        std::memcpy(stage_ + staged_, row + begin, size);
        staged_ += size;
        if (size % 2 != 0) stage_[staged_++] = 0;
        begin += size;
    }
}

void RleEncoder::put_run(BYTE value, DWORD begin, DWORD end) {
    while (begin < end && !aborted_) {
        const DWORD size = std::min(end - begin, rules_.max_piece);
        put_pair(pixels(begin, begin + size), value);
        begin += size;
    }
}

// Leaves room for the bytes of a literal.
void RleEncoder::put_pair(BYTE first, BYTE second) {
    if (staged_ > kStageSize - kLargestPiece) drain();
    KV_ASSERT(staged_ <= kStageSize - kLargestPiece);
    stage_[staged_++] = first;
    stage_[staged_++] = second;
}

void RleEncoder::drain() {
    if (sink_ && !aborted_ && staged_ > 0) aborted_ = !sink_(stage_, staged_, context_);
    total_ += staged_;
    staged_ = 0;
}

BOOL RleEncoder::finish(DWORD* encoded_size) {
    put_pair(0, 1);
    drain();
    const bool fits = total_ <= kMaxDibSize;
    *encoded_size = fits ? static_cast<DWORD>(total_) : 0;
    return (fits && !aborted_) || KV_FAIL(Image, "%s", aborted_ ? "the bytes are not taken" : "2 GiB and more");
}

BOOL encode(const RleRules& rules, const BYTE* bits, DWORD total_size, DWORD width, DWORD stride, RleSink sink,
            void* context, DWORD* encoded_size) {
    *encoded_size = 0;
    if (width == 0) return KV_FAIL(Image, "no pixels");
    RleEncoder encoder(rules, width, sink, context);
    if (stride < encoder.row_size()) return KV_FAIL(Image, "rows that are shorter than their pixels");
    for (DWORD rows = total_size / stride; rows > 0 && !encoder.aborted(); --rows, bits += stride) {
        encoder.encode_row(bits);
    }
    return encoder.finish(encoded_size);
}

}  // namespace

BOOL EncodeRle8(const BYTE* bits, DWORD total_size, DWORD width, DWORD stride, RleSink sink, void* context,
                DWORD* encoded_size) {
    return encode(kRle8, bits, total_size, width, stride, sink, context, encoded_size);
}

BOOL EncodeRle4(const BYTE* bits, DWORD total_size, DWORD width, DWORD stride, RleSink sink, void* context,
                DWORD* encoded_size) {
    return encode(kRle4, bits, total_size, width, stride, sink, context, encoded_size);
}

}  // namespace kv
