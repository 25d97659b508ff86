#include "dispatcher/log.h"

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "dispatcher/native_path.h"
#include "platform/win32.h"

namespace kvdisp12 {
namespace {

namespace fs = std::filesystem;

const char* mark_of(Level level) {
    switch (level) {
        case Level::Error:
            return "ERROR ";
        case Level::Warning:
            return "WARNING ";
        default:
            return "";
    }
}

}  // namespace

void LogFile::write(Level level, const std::string& text, const Fields&) {
    SYSTEMTIME now;
    GetLocalTime(&now);
    char time[64];
    std::snprintf(time, sizeof time, "%04d-%02d-%02d %02d:%02d:%02d.%03d", now.wYear, now.wMonth, now.wDay, now.wHour,
                  now.wMinute, now.wSecond, now.wMilliseconds);
    const std::string line =
        std::string(time) + ' ' + std::to_string(GetCurrentProcessId()) + ' ' + mark_of(level) + text + '\n';
    begin_new_generation();
    std::ofstream(native_path(path_), std::ios::app | std::ios::binary)
        .write(line.data(), static_cast<std::streamsize>(line.size()));
}

void LogFile::begin_new_generation() const {
    constexpr int kGenerations = 5;
    std::error_code error;
    const auto size = fs::file_size(native_path(path_), error);
    if (error || size < most_) return;
    for (int number = kGenerations - 1; number >= 1; --number) {
        const std::string from = number == 1 ? path_ : path_ + '.' + std::to_string(number - 1);
        fs::rename(native_path(from), native_path(path_ + '.' + std::to_string(number)), error);
    }
}

void Log::limited(const std::string& kind, const std::string& text) {
    constexpr auto kPause = std::chrono::minutes(1);
    std::string more;
    {
        std::lock_guard guard(lock_);
        const auto now = std::chrono::steady_clock::now();
        Repeated& repeated = repeated_[kind];
        if (now < repeated.next) {
            ++repeated.held_back;
            return;
        }
        if (repeated.held_back > 0) more = " (and " + std::to_string(repeated.held_back) + " times before)";
        repeated = {now + kPause, 0};
    }
    warning(text + more);
}

void Log::write(Level level, const std::string& text, const Fields& fields) {
    std::lock_guard guard(lock_);
    for (const auto& sink : sinks_) sink->write(level, text, fields);
}

}  // namespace kvdisp12
