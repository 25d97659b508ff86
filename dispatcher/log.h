#pragma once
// The log: one line a message, with the time and the process in front.

#include <fstream>
#include <mutex>
#include <string>

namespace kvdisp12 {

class Log {
public:
    // A log that cannot be opened is written nowhere: jobs are more important.
    explicit Log(const std::string& path);

    void line(const std::string& text);

private:
    std::mutex lock_;
    std::ofstream file_;
};

// A text of someone else's in quotes, which stays on its line.
std::string quoted(const std::string& text);

}  // namespace kvdisp12
