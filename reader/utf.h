#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kvjob {

inline constexpr uint32_t kUnknownCharacter = 0xFFFD;

// What is no character becomes the replacement character.
void append_utf8(std::string& text, uint32_t code);
// A surrogate without its half becomes the replacement character.
std::string utf8_of(std::vector<uint16_t>::const_iterator from, std::vector<uint16_t>::const_iterator to);

inline bool is_high_surrogate(uint32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
inline bool is_low_surrogate(uint32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }
inline uint32_t joined(uint32_t high, uint32_t low) { return 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00); }

}  // namespace kvjob
