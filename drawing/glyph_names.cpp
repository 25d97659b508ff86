#include "drawing/glyph_names.h"

#include <algorithm>
#include <charconv>

namespace kvjob {
namespace {

// -1 for what is no number of capital hexadecimal digits.
int64_t hexadecimal(const std::string& digits) {
    const bool sound = std::all_of(digits.begin(), digits.end(),
                                   [](char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'); });
    uint32_t value = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
    return sound && result.ec == std::errc() ? int64_t{value} : -1;
}

bool is_character(int64_t code) { return code >= 0 && code <= 0x10FFFF && (code < 0xD800 || code >= 0xE000); }

// "uni" and four digits for each character, or "u" and four to six digits for one.
std::u32string by_number(const std::string& part) {
    constexpr size_t kDigits = 4, kMostDigits = 6;
    const bool listed = part.starts_with("uni") && part.size() > 3 && (part.size() - 3) % kDigits == 0;
    const size_t start = listed ? 3 : 1, step = listed ? kDigits : part.size() - 1;
    if (!part.starts_with("u") || (!listed && (step < kDigits || step > kMostDigits))) return {};
    std::u32string text;
    for (size_t at = start; at < part.size(); at += step) {
        const int64_t code = hexadecimal(part.substr(at, step));
        if (!is_character(code)) return {};
        text += static_cast<char32_t>(code);
    }
    return text;
}

std::u32string as_ligature(const std::string& part) {
    const bool known = part == "ff" || part == "fi" || part == "fl" || part == "ffi" || part == "ffl";
    return known ? std::u32string(part.begin(), part.end()) : std::u32string();
}

}  // namespace

std::u32string text_of_glyph_name(const std::string& name,
                                  const std::function<uint32_t(const std::string&)>& character_of_glyph) {
    const std::string base = name.substr(0, name.find('.'));  // behind it stands the letter's form
    std::u32string text;
    for (size_t at = 0; at < base.size();) {
        const size_t end = std::min(base.find('_', at), base.size());
        const std::string part = base.substr(at, end - at);
        std::u32string known = part.empty() ? std::u32string() : by_number(part);
        if (known.empty()) {
            if (const uint32_t character = character_of_glyph(part)) known = static_cast<char32_t>(character);
        }
        if (known.empty()) known = as_ligature(part);
        if (known.empty()) return {};
        text += known;
        at = end + 1;
    }
    return text;
}

}  // namespace kvjob
