#pragma once
// The log: one line a message. Where it goes is the sink's affair.

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace kvdisp12 {

enum class Level { Info, Warning, Error };
// What programs may ask a log for beside its text, by name in capitals.
using Fields = std::vector<std::pair<std::string, std::string>>;

class LogSink {
public:
    virtual ~LogSink() = default;
    // Never throws: a log that cannot be written is written nowhere, for jobs are more important.
    virtual void write(Level level, const std::string& text, const Fields& fields) = 0;
};

// A file of lines with the time and the process in front. At 10 MB it becomes FILE.1, what was that FILE.2, up to
// FILE.4. It is opened for each line, so that a disk that was full and a folder that was gone cost only lines.
class LogFile : public LogSink {
public:
    explicit LogFile(std::string path, uintmax_t most_bytes = 10'000'000) : path_(std::move(path)), most_(most_bytes) {}
    void write(Level level, const std::string& text, const Fields& fields) override;

private:
    void begin_new_generation() const;

    std::string path_;
    uintmax_t most_;
};

class Log {
public:
    // Every line goes to each sink.
    explicit Log(std::vector<std::unique_ptr<LogSink>> sinks) : sinks_(std::move(sinks)) {}

    void line(const std::string& text, const Fields& fields = {}) { write(Level::Info, text, fields); }
    void warning(const std::string& text, const Fields& fields = {}) { write(Level::Warning, text, fields); }
    void error(const std::string& text, const Fields& fields = {}) { write(Level::Error, text, fields); }
    // A warning that may come as often as someone likes: each kind once a minute, with the number of those between.
    void limited(const std::string& kind, const std::string& text);

private:
    struct Repeated {
        std::chrono::steady_clock::time_point next{};
        unsigned held_back = 0;
    };

    void write(Level level, const std::string& text, const Fields& fields);

    std::mutex lock_;
    std::vector<std::unique_ptr<LogSink>> sinks_;
    std::map<std::string, Repeated> repeated_;
};

}  // namespace kvdisp12
