#pragma once
// The thread that delivers filed documents, the oldest first and one at a time, so that a printer gets them in their
// order. What cannot be delivered now waits and is tried again.

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

#include "dispatcher/delivery.h"

namespace kvdisp12 {

class Deliverer {
public:
    using Clock = std::chrono::steady_clock;

    // Documents that the journal has now may have been tried by an earlier dispatcher.
    Deliverer(Store& store, std::unique_ptr<Target> target, std::chrono::seconds patience);
    ~Deliverer() { stop(); }

    void start();
    // Waits for what is under way, which is broken off where it takes long.
    void stop();
    // Has it look now: at what is new; `all`: at what waits for its time as well.
    void wake(bool all);
    // Whether something is to be delivered.
    bool has_work();
    // What the thread does; the calling thread alone may do so where none was started.
    void deliver_waiting(bool all);

private:
    struct Pause {
        Clock::time_point next{};
        std::chrono::seconds length{0};
        void grow();
    };

    void run();
    void sweep();
    std::optional<Clock::time_point> next_try() const;
    bool is_due(int64_t id, bool all) const;
    bool deliver(int64_t id);
    Outcome attempt(Document& document);
    void finish(Document& document, const Outcome& outcome);
    void put_off(Document& document, const Outcome& outcome);

    Store& store_;
    std::unique_ptr<Target> target_;
    const std::chrono::seconds patience_;
    const int64_t last_of_earlier_;
    std::map<int64_t, Pause> waiting_;  // documents
    Pause down_;                        // of the target; without a length: it is not
    std::stop_source stop_;
    std::mutex lock_;
    std::condition_variable changed_;
    bool swept_ = false;
    bool woken_ = true, all_ = true, busy_ = true;
    std::thread thread_;
};

}  // namespace kvdisp12
