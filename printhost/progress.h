#pragma once
// How far printing is, on standard error: one line that is written over on a terminal, lines now and then elsewhere.

#include <chrono>
#include <cstdint>
#include <string>

#include "printhost/request.h"

namespace kvprint {

// "12 of 120 pages, 34.2 pages a second, 3 s left, 1.2 MiB". seconds: that these pages took.
std::string progress_text(size_t done, size_t pages, double seconds, uint64_t bytes);

class Progress {
public:
    explicit Progress(const Request& request);
    // Takes the terminal's line back.
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // The document is read once before it is printed.
    enum class Phase { Reading, Printing };
    void begin(Phase phase, size_t pages);
    // So many of them are done.
    void done(size_t pages);

private:
    using Clock = std::chrono::steady_clock;
    void tell_line(const std::string& text) const;
    void show(const std::string& text);

    const std::string input_;
    const bool plain_, live_;
    Phase phase_ = Phase::Reading;
    size_t pages_ = 0, shown_ = 0;  // characters that stand on the terminal
    Clock::time_point begun_ = {}, told_ = {};
};

}  // namespace kvprint
