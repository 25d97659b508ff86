#include "dispatcher/worker.h"

#include <algorithm>
#include <utility>

namespace kvdisp12 {

void Worker::start(bool find) {
    find_ = find;
    thread_ = std::thread(&Worker::run, this);
}

void Worker::stop() {
    {
        std::lock_guard guard(lock_);
        stopping_ = true;
        changed_.notify_all();
    }
    if (thread_.joinable()) thread_.join();
}

void Worker::wake(bool find) {
    std::lock_guard guard(lock_);
    woken_ = true;
    find_ = find_ || find;
    changed_.notify_all();
}

void Worker::run() {
    constexpr auto kBetweenLooks = std::chrono::minutes(10);
    auto next_look = Filer::Clock::now() + kBetweenLooks;
    bool first = true;
    std::unique_lock guard(lock_);
    while (!stopping_) {
        if (!woken_) {
            const auto next_try = filer_.next_try();
            changed_.wait_until(guard, next_try ? std::min(*next_try, next_look) : next_look);
        }
        if (stopping_) break;
        const bool find = std::exchange(find_, false) || Filer::Clock::now() >= next_look;
        woken_ = false;
        guard.unlock();
        if (find) next_look = Filer::Clock::now() + kBetweenLooks;
        look(find, std::exchange(first, false));
        guard.lock();
    }
}

void Worker::look(bool find, bool now) {
    try {
        if (find) {
            recovery_.find_all();
            housekeeping_.clean_sometimes();
        } else {
            filer_.file_waiting(now);
        }
    } catch (const std::exception& error) {
        store_.log.limited("worker", std::string("Looking after what waits: ") + error.what());
    }
}

}  // namespace kvdisp12
