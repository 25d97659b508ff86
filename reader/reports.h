#pragma once
// Damaged or unknown content that a command leaves out.

#include <cstdint>
#include <cstdio>
#include <functional>
#include <mutex>
#include <string>
#include <unordered_set>

namespace kvjob {

// Threads may share one. A record counts once, however often it is read.
class Reports {
public:
    using Take = std::function<void(uint64_t offset, const std::string& message)>;

    explicit Reports(Take take) : take_(std::move(take)) {}
    // Printed, a line each; also: gets those that are printed.
    explicit Reports(std::FILE* out, Take also = {})
        : take_([this, out, also = std::move(also)](uint64_t at, const std::string& what) {
              if (print(out, at, what) && also) also(at, what);
          }) {}
    Reports(const Reports&) = delete;
    Reports& operator=(const Reports&) = delete;

    void add(uint64_t offset, const char* name, const std::string& message) {
        const std::lock_guard lock(mutex_);
        if (offsets_.insert(offset).second) take_(offset, std::string(name) + ": " + message);
    }
    size_t count() const {
        const std::lock_guard lock(mutex_);
        return offsets_.size();
    }

private:
    bool print(std::FILE* out, uint64_t offset, const std::string& message) const {
        constexpr size_t kShown = 50;
        if (offsets_.size() <= kShown) {
            std::fprintf(out, "0x%llX: %s\n", static_cast<unsigned long long>(offset), message.c_str());
        } else if (offsets_.size() == kShown + 1) {
            std::fputs("further faults are not shown\n", out);
        }
        return offsets_.size() <= kShown;
    }

    mutable std::mutex mutex_;
    Take take_;
    std::unordered_set<uint64_t> offsets_;
};

}  // namespace kvjob
