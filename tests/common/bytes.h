#pragma once
// Bytes by hand: numbers in either order, hexadecimal digits.

#include <bit>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace kv::test {

using Bytes = std::vector<uint8_t>;

// Of hexadecimal digits; blanks count for nothing.
Bytes from_hex(std::string_view digits);
// Pairs of capital digits, a blank behind each.
std::string to_hex(const Bytes& bytes);

template <std::endian order>
class Writer {
public:
    using Values = std::initializer_list<int64_t>;
    Writer& u8(Values values) { return put(values, 1); }
    Writer& u16(Values values) { return put(values, 2); }
    Writer& u32(Values values) { return put(values, 4); }
    Writer& f32(float value) { return u32({std::bit_cast<int32_t>(value)}); }
    Writer& text(std::string_view text) { return add(Bytes(text.begin(), text.end())); }
    Writer& text(std::u16string_view text) {  // without a terminating 0
        for (char16_t unit : text) u16({unit});
        return *this;
    }
    Writer& hex(std::string_view digits) { return add(from_hex(digits)); }
    Writer& add(const Bytes& more);
    Writer& fill(size_t count, int value);
    Writer& zeros(size_t count) { return fill(count, 0); }
    int size() const { return static_cast<int>(bytes.size()); }
    operator const Bytes&() const { return bytes; }

    Bytes bytes;

private:
    Writer& put(Values values, int width);
};
using BytesBuilder = Writer<std::endian::little>;  // of job files
using Big = Writer<std::endian::big>;              // of font files

}  // namespace kv::test
