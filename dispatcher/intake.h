#pragma once
// Takes documents from clients: announced, handed over, or withdrawn.

#include "dispatcher/filer.h"
#include "dispatcher/limits.h"
#include "dispatcher/machine.h"
#include "dispatcher/request.h"
#include "dispatcher/store.h"

namespace kvdisp12 {

class Intake {
public:
    Intake(Store& store, Filer& filer, const Limits& limits, DWORD session)
        : store_(store), filer_(filer), limits_(limits), session_(session) {}

    // The document's number in the journal, 0 where it is refused.
    int64_t announce(const Announcement& announcement, const Client& client);
    // Whether the job is ours now. It is filed at once if that can be, else later.
    bool hand_over(int64_t id, const Text& path, const Client& client);
    // It is not handed over: withdrawn, or its client is gone.
    void give_up(int64_t id, State end, const std::string& why);

private:
    std::string reason_to_refuse() const;
    JobFile open_job(const Text& path, const Client& client, Document& document);
    bool was_found(const Text& path, Document& document);

    Store& store_;
    Filer& filer_;
    const Limits& limits_;
    DWORD session_;
};

}  // namespace kvdisp12
