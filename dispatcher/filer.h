#pragma once
// Files jobs of the spool under their documents' names in the outbox. What cannot be filed stays and is tried again.

#include <chrono>
#include <map>
#include <mutex>

#include "dispatcher/store.h"

namespace kvdisp12 {

class Filer {
public:
    using Clock = std::chrono::steady_clock;

    explicit Filer(Store& store) : store_(store) {}

    // One whose job is in the spool, claimed by the caller. False where it has to wait.
    bool file(Document& document);
    // All that wait and whose time has come; `now`: all that wait.
    void file_waiting(bool now);
    // When the next one's time comes; nothing where none waits.
    std::optional<Clock::time_point> next_try();

private:
    struct Waiting {
        Clock::time_point next;
        std::chrono::seconds pause;
    };

    void put_into_outbox(Document& document);
    bool is_in_outbox(const Document& document, const Folder& spool, const Folder& outbox) const;
    void put_off(Document& document, const std::string& why);
    void discard_cancelled();

    Store& store_;
    std::mutex lock_;
    std::map<int64_t, Waiting> waiting_;
};

}  // namespace kvdisp12
