#pragma once
// Paths of the command line and of the dispatcher's own folders: the system's own, in UTF-8.

#include <filesystem>
#include <string>

namespace kvdisp12 {

inline std::filesystem::path native_path(const std::string& utf8) {
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

inline std::string utf8_path(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return std::string(text.begin(), text.end());
}

}  // namespace kvdisp12
