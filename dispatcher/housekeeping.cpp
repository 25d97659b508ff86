#include "dispatcher/housekeeping.h"

#include "dispatcher/safe_text.h"

namespace kvdisp12 {

void Housekeeping::clean_sometimes() {
    constexpr auto kPause = std::chrono::minutes(10);
    const auto now = std::chrono::steady_clock::now();
    if (last_ && now - *last_ < kPause) return;
    last_ = now;
    clean();
}

void Housekeeping::clean() {
    if (!keep_.everything()) remove_jobs();
    store_.journal.prune(Journal::now() - bounds_.milliseconds, bounds_.rows, !keep_.everything());
}

void Housekeeping::remove_jobs() {
    const Folder outbox(store_.places.outbox, Folder::Owner::Anyone);
    const int64_t now = Journal::now();
    int64_t count = 0, bytes = 0, removed = 0;
    for (const DeliveredJob& job : store_.journal.delivered_jobs()) {
        bytes += job.bytes;
        if ((!keep_.milliseconds || now - job.changed <= *keep_.milliseconds) &&
            (!keep_.count || ++count <= *keep_.count) && (!keep_.bytes || bytes <= *keep_.bytes)) {
            continue;
        }
        remove_job(outbox, job.id);
        ++removed;
    }
    if (removed > 0) store_.log.line("Removed " + std::to_string(removed) + " delivered jobs from the outbox");
}

// A file that has taken the job's name and is another one stays.
void Housekeeping::remove_job(const Folder& outbox, int64_t id) {
    const Claims::Claim claim(store_.claims, id);
    auto document = claim ? store_.journal.find(id) : std::nullopt;
    if (!document || document->state != State::Delivered) return;
    try {
        if (outbox.has(document->target)) {
            const JobFile job = JobFile::open(outbox, document->target);
            if (job.size() == static_cast<uint64_t>(document->bytes)) outbox.remove(document->target);
        }
    } catch (const FileError& error) {
        store_.log.limited("keep", error.what());
        return;
    }
    document->target.clear();
    store_.journal.change(*document, State::Delivered);
}

}  // namespace kvdisp12
