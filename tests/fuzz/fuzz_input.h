#pragma once
// What the fuzz targets share.

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/host/control.h"

namespace kv {

inline void require(bool condition) {
    if (!condition) std::abort();
}

// A block of exactly that size, so that a step beyond it is seen.
inline std::unique_ptr<BYTE[]> exact_copy(const BYTE* data, size_t size) {
    std::unique_ptr<BYTE[]> copy(new BYTE[size]);
    std::copy_n(data, size, copy.get());
    return copy;
}

// What a fuzzer hands out, taken piece by piece; behind its end there are zeros.
class FuzzInput {
public:
    FuzzInput(const BYTE* data, size_t size) : at_(data), end_(data + size) {}
    bool empty() const { return at_ == end_; }
    DWORD u8() { return at_ < end_ ? *at_++ : 0; }
    DWORD u16() {
        const DWORD low = u8();
        return low | u8() << 8;
    }
    DWORD u32() {
        const DWORD low = u16();
        return low | u16() << 16;
    }
    template <class List>
    auto pick(const List& list) {
        return list[u8() % std::size(list)];
    }
    // At most so many bytes, in a block of exactly their number.
    std::vector<BYTE> bytes(size_t most) {
        const BYTE* from = std::exchange(at_, at_ + std::min(most, static_cast<size_t>(end_ - at_)));
        return {from, at_};
    }
    // At most 255 units. Most bytes are a unit each.
    std::basic_string<WCHAR> text() {
        constexpr DWORD kWideUnit = 0xE0;
        std::basic_string<WCHAR> text;
        for (DWORD left = u8(); left > 0 && !empty(); --left) {
            const DWORD unit = u8();
            text += static_cast<WCHAR>(unit < kWideUnit ? unit : u16());
        }
        return text;
    }
    // What is left, over and over.
    void fill(BYTE* to, uint64_t count) const {
        const auto size = static_cast<uint64_t>(end_ - at_);
        for (uint64_t i = 0; i < count && size > 0; ++i) to[i] = at_[i % size];
    }

private:
    const BYTE *at_, *end_;
};

}  // namespace kv
