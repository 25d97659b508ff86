#include "dispatcher/text.h"

namespace kvdisp12 {

std::string to_utf8(TextView text) {
    std::string bytes(text.size() * 3, '\0');
    const int length = text.empty()
                           ? 0
                           : WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), bytes.data(),
                                                 static_cast<int>(bytes.size()), nullptr, nullptr);
    bytes.resize(static_cast<size_t>(length > 0 ? length : 0));
    return bytes;
}

Text from_utf8(std::string_view text) {
    Text units(text.size(), 0);
    const int length = text.empty() ? 0
                                    : MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                                          units.data(), static_cast<int>(units.size()));
    units.resize(static_cast<size_t>(length > 0 ? length : 0));
    return units;
}

}  // namespace kvdisp12
