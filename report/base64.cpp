#include "report/base64.h"

namespace kvjob {

std::string base64(Bytes bytes) {
    constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    constexpr size_t kIn = 3, kOut = 4;
    std::string text;
    text.reserve((bytes.size() + kIn - 1) / kIn * kOut);
    for (size_t at = 0; at < bytes.size(); at += kIn) {
        const size_t count = std::min(kIn, bytes.size() - at);
        uint32_t group = 0;
        for (size_t i = 0; i < kIn; ++i) group = group << 8 | (i < count ? bytes[at + i] : 0u);
        for (size_t i = 0; i < kOut; ++i) text += i <= count ? kDigits[group >> (18 - 6 * i) & 0x3F] : '=';
    }
    return text;
}

}  // namespace kvjob
