#include "printhost/progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "platform/host/control.h"

namespace kvprint {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

// Terminals keep up with the one, readers of a log with the other.
constexpr auto kBetweenLooks = 100ms, kBetweenLines = 5000ms;

bool is_shown_live(const Request& request) {
    return request.progress == Request::Progress::Auto && !request.quiet && request.trace.empty() &&
           isatty(STDERR_FILENO);
}

// What cannot be written is lost: progress is no reason to end.
void write_out(const std::string& text) {
    [[maybe_unused]] const ssize_t ignored = write(STDERR_FILENO, text.data(), text.size());
}

// Of a terminal whose width is not known.
constexpr size_t kColumns = 80;
size_t columns() {
    winsize size = {};
    const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : kColumns;
}

// Of the driver's own file of the job.
uint64_t bytes_recorded() {
    uint64_t bytes = 0;
    std::error_code error;
    fs::directory_iterator entry(kv::host::host_path(kv::host::machine().temp_folder), error);
    for (const fs::directory_iterator end; !error && entry != end; entry.increment(error)) {
        std::error_code gone;
        const uint64_t size = entry->file_size(gone);
        if (!gone) bytes += size;
    }
    return bytes;
}

template <class... Values>
std::string formatted(const char* format, Values... values) {
    char text[80];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

std::string time_text(double seconds) {
    constexpr double kMinute = 60, kHour = 3600;
    if (seconds >= kHour) return formatted("%.1f h", seconds / kHour);
    if (seconds >= 2 * kMinute) return formatted("%.0f min", seconds / kMinute);
    return formatted("%.0f s", seconds);
}

std::string size_text(uint64_t bytes) {
    constexpr uint64_t kKib = 1 << 10, kMib = 1 << 20;
    if (bytes < kMib) return std::to_string((bytes + kKib - 1) / kKib) + " KiB";
    return formatted("%.1f MiB", static_cast<double>(bytes) / kMib);
}

}  // namespace

std::string progress_text(size_t done, size_t pages, double seconds, uint64_t bytes) {
    std::string text = std::to_string(done) + " of " + std::to_string(pages) + (pages == 1 ? " page" : " pages");
    if (done > 0 && seconds > 0) {
        const double rate = static_cast<double>(done) / seconds;
        text += formatted(rate < 100 ? ", %.1f pages a second" : ", %.0f pages a second", rate);
        if (done < pages) text += ", " + time_text(static_cast<double>(pages - done) / rate) + " left";
    }
    return text + ", " + size_text(bytes);
}

Progress::Progress(const Request& request)
    : input_(request.input),
      plain_(request.progress == Request::Progress::Plain && !request.quiet),
      live_(is_shown_live(request)) {}

Progress::~Progress() {
    if (shown_ > 0) write_out("\r" + std::string(shown_, ' ') + "\r");
}

void Progress::begin(Phase phase, size_t pages) {
    phase_ = phase;
    pages_ = pages;
    begun_ = Clock::now();
}

void Progress::done(size_t pages) {
    if (!plain_ && !live_) return;
    const auto now = Clock::now();
    const bool last = phase_ == Phase::Printing && pages == pages_;
    if (now - told_ < (live_ ? kBetweenLooks : kBetweenLines) && !(plain_ && last)) return;
    told_ = now;
    const double seconds = std::chrono::duration<double>(now - begun_).count();
    const std::string text = phase_ == Phase::Printing
                                 ? progress_text(pages, pages_, seconds, bytes_recorded())
                                 : "reading: " + std::to_string(pages) + " of " + std::to_string(pages_) + " pages";
    live_ ? show(text) : tell_line(text);
}

void Progress::tell_line(const std::string& text) const { write_out("kvprint: " + input_ + ": " + text + "\n"); }

void Progress::show(const std::string& text) {
    const std::string cut = text.substr(0, columns() - 1);
    const size_t left = shown_ > cut.size() ? shown_ - cut.size() : 0;
    write_out("\r" + cut + std::string(left, ' '));
    shown_ = std::min(std::max(cut.size(), shown_), columns() - 1);
}

}  // namespace kvprint
