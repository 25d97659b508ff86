#pragma once
// What need not be kept: delivered jobs beyond what --keep says, and rows of documents that came to their end long ago.

#include <chrono>
#include <optional>

#include "dispatcher/store.h"

namespace kvdisp12 {

// How much of the delivered jobs stays in the outbox, the latest first; nothing set: all.
struct Keep {
    std::optional<int64_t> milliseconds = {}, count = {}, bytes = {};
    bool everything() const { return !milliseconds && !count && !bytes; }
};

// Rows of documents that came to their end stay for so long, and no more than so many. A delivered one whose job
// is still to be removed stays as long as the job.
struct JournalBounds {
    int64_t milliseconds = int64_t{90} * 24 * 3600 * 1000;
    int64_t rows = 100'000;
};

class Housekeeping {
public:
    Housekeeping(Store& store, Keep keep, JournalBounds bounds = {}) : store_(store), keep_(keep), bounds_(bounds) {}

    // Every ten minutes at the most.
    void clean_sometimes();
    void clean();

private:
    void remove_jobs();
    void remove_job(const Folder& outbox, int64_t id);

    Store& store_;
    const Keep keep_;
    const JournalBounds bounds_;
    std::optional<std::chrono::steady_clock::time_point> last_;
};

}  // namespace kvdisp12
