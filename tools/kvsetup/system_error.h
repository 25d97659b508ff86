#pragma once
// Errors with the system's text.

#include <stdexcept>
#include <string>

#include "platform/win32.h"

namespace kvsetup {

inline std::string to_utf8(const std::wstring& text) {
    const int units = static_cast<int>(text.size());
    std::string bytes(
        static_cast<size_t>(WideCharToMultiByte(CP_UTF8, 0, text.c_str(), units, nullptr, 0, nullptr, nullptr)), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.c_str(), units, bytes.data(), static_cast<int>(bytes.size()), nullptr,
                        nullptr);
    return bytes;
}

// "what: the system's text (error N)", on one line. N also counts as HRESULT.
inline std::runtime_error system_error(const std::string& what, DWORD error) {
    WCHAR text[512] = {};
    FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0, text, 512, nullptr);
    std::wstring line = text;
    while (!line.empty() && line.back() <= ' ') line.pop_back();
    return std::runtime_error(what + ": " + to_utf8(line) + " (error " + std::to_string(error) + ")");
}

}  // namespace kvsetup
