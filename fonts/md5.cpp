#include "fonts/md5.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "support/assert.h"
#include "support/little_endian.h"

namespace kv {
namespace {

// floor(2^32 * |sin(i + 1)|) of RFC 1321, section 3.4.
constexpr uint32_t kSines[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};

constexpr int kShifts[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

// The 16 steps of a round. Step i takes the word that stands (first + stride * i) words into the block, round it.
template <class Mix>
void add_round(std::array<uint32_t, 4>& state, const uint32_t* words, unsigned round, unsigned first, unsigned stride,
               Mix mix) {
    auto [a, b, c, d] = state;
    for (unsigned i = 0; i < 16; ++i) {
        const uint32_t sum = a + mix(b, c, d) + words[(first + stride * i) % 16] + kSines[16 * round + i];
        a = d;
        d = c;
        c = b;
        b += std::rotl(sum, kShifts[round][i % 4]);
    }
    state = {a, b, c, d};
}

}  // namespace

void Md5::add_block(const BYTE* block) {
    uint32_t words[16];
    for (unsigned i = 0; i < 16; ++i) {
        const BYTE* at = block + 4 * i;
        words[i] = uint32_t{at[0]} | uint32_t{at[1]} << 8 | uint32_t{at[2]} << 16 | uint32_t{at[3]} << 24;
    }
    std::array<uint32_t, 4> state = state_;
    using Word = uint32_t;
    add_round(state, words, 0, 0, 1, [](Word b, Word c, Word d) { return (b & c) | (~b & d); });
    add_round(state, words, 1, 1, 5, [](Word b, Word c, Word d) { return (b & d) | (c & ~d); });
    add_round(state, words, 2, 5, 3, [](Word b, Word c, Word d) { return b ^ c ^ d; });
    add_round(state, words, 3, 0, 7, [](Word b, Word c, Word d) { return c ^ (b | ~d); });
    for (size_t i = 0; i < state.size(); ++i) state_[i] += state[i];
}

void Md5::update(std::span<const BYTE> data) {
    const size_t held = length_ % sizeof tail_;
    length_ += data.size();
    if (held) {
        const size_t piece = std::min(sizeof tail_ - held, data.size());
        std::copy_n(data.begin(), piece, tail_ + held);
        if (held + piece < sizeof tail_) return;
        add_block(tail_);
        data = data.subspan(piece);
    }
    for (; data.size() >= sizeof tail_; data = data.subspan(sizeof tail_)) add_block(data.data());
    KV_ASSERT(data.size() < sizeof tail_);
    std::copy(data.begin(), data.end(), tail_);
}

Md5Digest Md5::finish() {
    // A bit 1, zeros up to 8 bytes before the end of a block, and the length in bits.
    BYTE padding[72] = {0x80};
    const size_t held = length_ % sizeof tail_;
    const size_t zeros_end = (held < 56 ? 56 : 120) - held;
    store_u32(padding + zeros_end, static_cast<uint32_t>(length_ << 3));
    store_u32(padding + zeros_end + 4, static_cast<uint32_t>(length_ >> 29));
    update({padding, zeros_end + 8});
    KV_ASSERT(zeros_end + 8 <= sizeof padding && length_ % sizeof tail_ == 0);
    Md5Digest digest;
    for (size_t i = 0; i < state_.size(); ++i) store_u32(digest.data() + 4 * i, state_[i]);
    *this = Md5();
    return digest;
}

Md5Digest md5(std::span<const BYTE> data) {
    Md5 sum;
    sum.update(data);
    return sum.finish();
}

}  // namespace kv
