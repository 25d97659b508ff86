#pragma once
// Damaged or unknown content that a command leaves out.

#include <cstdint>
#include <cstdio>
#include <string>

namespace kvjob {

class Reports {
public:
    explicit Reports(std::FILE* out) : out_(out) {}

    void add(uint64_t offset, const char* name, const std::string& message) {
        constexpr size_t kShown = 50;
        if (++count_ <= kShown) {
            std::fprintf(out_, "0x%llX: %s: %s\n", static_cast<unsigned long long>(offset), name, message.c_str());
        } else if (count_ == kShown + 1) {
            std::fputs("further faults are not shown\n", out_);
        }
    }
    size_t count() const { return count_; }

private:
    std::FILE* out_;
    size_t count_ = 0;
};

}  // namespace kvjob
