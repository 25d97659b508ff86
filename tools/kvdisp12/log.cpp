#include "tools/kvdisp12/log.h"

#include "platform/win32.h"

namespace kvdisp12 {

Log::Log(const std::string& path) : file_(std::fopen(path.c_str(), "a")) {}

void Log::line(const std::string& text) {
    std::lock_guard guard(lock_);
    if (!file_) return;
    SYSTEMTIME now;
    GetLocalTime(&now);
    std::fprintf(file_.get(), "%04d-%02d-%02d %02d:%02d:%02d.%03d %u %s\n", now.wYear, now.wMonth, now.wDay, now.wHour,
                 now.wMinute, now.wSecond, now.wMilliseconds, static_cast<unsigned>(GetCurrentProcessId()),
                 text.c_str());
    std::fflush(file_.get());
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
