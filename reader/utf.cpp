#include "reader/utf.h"

namespace kvjob {

void append_utf8(std::string& text, uint32_t code) {
    if (code > 0x10FFFF || is_high_surrogate(code) || is_low_surrogate(code)) code = kUnknownCharacter;
    auto tail = [&](int shift) { text += static_cast<char>(0x80 | (code >> shift & 0x3F)); };
    if (code < 0x80) {
        text += static_cast<char>(code);
    } else if (code < 0x800) {
        text += static_cast<char>(0xC0 | code >> 6);
        tail(0);
    } else if (code < 0x10000) {
        text += static_cast<char>(0xE0 | code >> 12);
        tail(6), tail(0);
    } else {
        text += static_cast<char>(0xF0 | code >> 18);
        tail(12), tail(6), tail(0);
    }
}

std::string utf8_of(std::vector<uint16_t>::const_iterator from, std::vector<uint16_t>::const_iterator to) {
    std::string text;
    for (auto at = from; at != to; ++at) {
        if (is_high_surrogate(*at) && at + 1 != to && is_low_surrogate(at[1])) {
            append_utf8(text, joined(at[0], at[1]));
            ++at;
        } else {
            append_utf8(text, *at);
        }
    }
    return text;
}

}  // namespace kvjob
