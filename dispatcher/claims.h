#pragma once
// Documents that a thread works on: no other one touches them meanwhile.

#include <condition_variable>
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
        // Waits until no other thread has it.
        static Claim wait(Claims& claims, int64_t document) {
            std::unique_lock guard(claims.lock_);
            claims.released_.wait(guard, [&] { return !claims.documents_.contains(document); });
            claims.documents_.insert(document);
            return Claim(Held{}, claims, document);
        }
        ~Claim() {
            std::lock_guard guard(claims_.lock_);
            if (held_) claims_.documents_.erase(document_);
            claims_.released_.notify_all();
        }
        Claim(const Claim&) = delete;
        Claim& operator=(const Claim&) = delete;
        // False: another thread has it.
        explicit operator bool() const { return held_; }

    private:
        struct Held {};
        Claim(Held, Claims& claims, int64_t document) : claims_(claims), document_(document), held_(true) {}

        Claims& claims_;
        int64_t document_;
        bool held_;
    };

private:
    std::mutex lock_;
    std::condition_variable released_;
    std::set<int64_t> documents_;
};

}  // namespace kvdisp12
