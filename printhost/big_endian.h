#pragma once
// Bytes of font files: numbers with the high byte first.

#include <cstdint>
#include <vector>

namespace kvprint {

using FontBytes = std::vector<uint8_t>;

class FontWriter {
public:
    FontBytes bytes;

    FontWriter& u8(unsigned value) {
        bytes.push_back(static_cast<uint8_t>(value));
        return *this;
    }
    FontWriter& u16(unsigned value) { return u8(value >> 8).u8(value); }
    FontWriter& i16(int value) { return u16(static_cast<unsigned>(value) & 0xFFFF); }
    FontWriter& u32(uint32_t value) { return u16(value >> 16).u16(value & 0xFFFF); }
    FontWriter& zeros(size_t count) {
        bytes.insert(bytes.end(), count, 0);
        return *this;
    }
    FontWriter& add(const FontBytes& more) {
        bytes.insert(bytes.end(), more.begin(), more.end());
        return *this;
    }
};

}  // namespace kvprint
