#include "dispatcher/log.h"

#include <cstdio>
#include <filesystem>

#include "platform/win32.h"

namespace kvdisp12 {

Log::Log(const std::string& path)
    : file_(std::filesystem::path(std::u8string(path.begin(), path.end())), std::ios::app) {}

void Log::line(const std::string& text) {
    std::lock_guard guard(lock_);
    SYSTEMTIME now;
    GetLocalTime(&now);
    char time[64];
    std::snprintf(time, sizeof time, "%04d-%02d-%02d %02d:%02d:%02d.%03d", now.wYear, now.wMonth, now.wDay, now.wHour,
                  now.wMinute, now.wSecond, now.wMilliseconds);
    file_ << time << ' ' << GetCurrentProcessId() << ' ' << text << std::endl;
}

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (char byte : text) {
        const bool control = static_cast<unsigned char>(byte) < ' ' || byte == 0x7F;
        if (byte == '"' || byte == '\\') result += '\\';
        result += control ? '?' : byte;
    }
    return result + '"';
}

}  // namespace kvdisp12
