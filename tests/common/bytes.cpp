#include "tests/common/bytes.h"

#include <cstdio>

namespace kv::test {

Bytes from_hex(std::string_view digits) {
    Bytes bytes;
    std::string pair;
    for (char digit : digits) {
        if (digit != ' ' && digit != '\n') pair += digit;
        if (pair.size() < 2) continue;
        bytes.push_back(static_cast<uint8_t>(std::stoi(pair, nullptr, 16)));
        pair.clear();
    }
    return bytes;
}

std::string to_hex(const Bytes& bytes) {
    std::string text;
    char pair[4];
    for (uint8_t byte : bytes) {
        std::snprintf(pair, sizeof pair, "%02X ", byte);
        text += pair;
    }
    return text;
}

template <std::endian order>
Writer<order>& Writer<order>::add(const Bytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
    return *this;
}
template <std::endian order>
Writer<order>& Writer<order>::fill(size_t count, int value) {
    bytes.resize(bytes.size() + count, static_cast<uint8_t>(value));
    return *this;
}
template <std::endian order>
Writer<order>& Writer<order>::put(Values values, int width) {
    for (int64_t value : values) {
        for (int i = 0; i < width; ++i) {
            const int place = order == std::endian::little ? i : width - 1 - i;
            bytes.push_back(static_cast<uint8_t>(value >> 8 * place));
        }
    }
    return *this;
}
template class Writer<std::endian::little>;
template class Writer<std::endian::big>;

}  // namespace kv::test
