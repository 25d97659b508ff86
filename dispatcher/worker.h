#pragma once
// The thread that looks after what waits: jobs that could not be filed, what lies about, and what need not be
// kept.

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "dispatcher/housekeeping.h"
#include "dispatcher/recovery.h"

namespace kvdisp12 {

class Worker {
public:
    Worker(Store& store, Filer& filer, Recovery& recovery, Housekeeping& housekeeping)
        : store_(store), filer_(filer), recovery_(recovery), housekeeping_(housekeeping) {}
    ~Worker() { stop(); }

    // It begins with what waits; `find`: and with all that lies about.
    void start(bool find);
    // Waits for what is under way.
    void stop();
    // Has it look now: at the times of what waits, or at everything.
    void wake(bool find);
    // Whether something waits to be filed.
    bool has_work() { return filer_.next_try().has_value(); }

private:
    void run();
    void look(bool find, bool now);

    Store& store_;
    Filer& filer_;
    Recovery& recovery_;
    Housekeeping& housekeeping_;
    std::mutex lock_;
    std::condition_variable changed_;
    bool stopping_ = false, woken_ = true, find_ = false;
    std::thread thread_;
};

}  // namespace kvdisp12
