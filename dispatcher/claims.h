#pragma once
// Documents that a thread works on: no other one touches them meanwhile.

#include <cstdint>
#include <mutex>
#include <set>

namespace kvdisp12 {

class Claims {
public:
    class Claim {
    public:
        Claim(Claims& claims, int64_t document) : claims_(claims), document_(document) {
            std::lock_guard guard(claims_.lock_);
            held_ = claims_.documents_.insert(document).second;
        }
        ~Claim() {
            std::lock_guard guard(claims_.lock_);
            if (held_) claims_.documents_.erase(document_);
        }
        Claim(const Claim&) = delete;
        Claim& operator=(const Claim&) = delete;
        // False: another thread has it.
        explicit operator bool() const { return held_; }

    private:
        Claims& claims_;
        int64_t document_;
        bool held_;
    };

private:
    std::mutex lock_;
    std::set<int64_t> documents_;
};

}  // namespace kvdisp12
