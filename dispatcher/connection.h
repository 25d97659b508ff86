#pragma once
// One client's conversation: requests in, replies out, and the job that the client has open.

#include <optional>
#include <span>
#include <vector>

#include "dispatcher/log.h"
#include "dispatcher/outbox.h"

namespace kvdisp12 {

using Bytes = std::vector<BYTE>;

class Connection {
public:
    Connection(const Outbox& outbox, Log& log) : outbox_(outbox), log_(log) {}
    // A job that is still open is forgotten.
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // Every request has a reply. One that cannot be understood gets 0.
    Bytes answer(std::span<const BYTE> request);

private:
    struct Job {
        DWORD id;
        Text name;
    };
    struct Reader;

    DWORD start_document(Reader& request);
    DWORD end_document(Reader& request);
    DWORD abort(Reader& request);
    Bytes job_path();
    bool is_open(DWORD id) const { return job_ && job_->id == id; }

    const Outbox& outbox_;
    Log& log_;
    std::optional<Job> job_;
};

}  // namespace kvdisp12
