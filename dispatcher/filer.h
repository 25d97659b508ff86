#pragma once
// Brings documents that clients have handed over into the spool, and from there under their names into the outbox. What
// cannot go on waits and is tried again.

#include <chrono>
#include <map>
#include <mutex>

#include "dispatcher/store.h"

namespace kvdisp12 {

class Filer {
public:
    using Clock = std::chrono::steady_clock;

    explicit Filer(Store& store) : store_(store) {}

    // Both for a document that the caller has claimed. take: of state Taking; whether the job is ours now, and the
    // journal says so. file: what is ours, false where it has to wait.
    bool take(JobFile job, Document& document);
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

    void move_into_spool(const JobFile& job, const Folder& spool, Document& document);
    void finish_taking(Document& document);
    void remove_source(const JobFile& job);
    void put_into_outbox(Document& document);
    Moved move_into_outbox(Document& document, const Folder& spool, const Folder& outbox);
    std::optional<Moved> give_name(Document& document, const Folder& spool, const Folder& outbox);
    void put_off(const Document& document, const std::string& why);
    void no_longer_waits(int64_t id);
    bool is_due(int64_t id, bool now);
    void discard_cancelled();

    Store& store_;
    std::mutex lock_;
    std::map<int64_t, Waiting> waiting_;
};

}  // namespace kvdisp12
