#pragma once
// The log: one line a message, with the time and the process in front.

#include <cstdio>
#include <memory>
#include <mutex>
#include <string>

namespace kvdisp12 {

class Log {
public:
    // A log that cannot be opened is written nowhere: jobs are more important.
    explicit Log(const std::string& path);

    void line(const std::string& text);

private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::mutex lock_;
    std::unique_ptr<std::FILE, Closer> file_;
};

// A text of someone else's in quotes, which stays on its line.
std::string quoted(const std::string& text);

}  // namespace kvdisp12
