#pragma once
// One client's conversation: requests in, replies out, and the job that the client has open.

#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "dispatcher/intake.h"

namespace kvdisp12 {

using Bytes = std::vector<BYTE>;

class Connection {
public:
    // What it needs of the server: told that a document is coming, asked how it is.
    struct Server {
        std::function<void()> prepared;
        std::function<ServerStatus()> status;
    };

    Connection(Intake& intake, Log& log, const Client& client, const Server& server)
        : intake_(intake), log_(log), client_(client), server_(server) {}
    // A job that is still open is forgotten.
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // Every request has a reply. One that cannot be understood gets 0.
    Bytes answer(std::span<const BYTE> request);
    // Whether it has announced a document.
    bool has_begun() const { return begun_; }

private:
    struct Job {
        DWORD id;  // as client and dispatcher call it
        int64_t document;
    };

    Bytes reply_to(const Announcement& announcement);
    Bytes reply_to(const HandOver& hand_over);
    Bytes reply_to(const Withdrawal& withdrawal);
    Bytes reply_to(const PathQuestion&);
    Bytes reply_to(const Preparation&);
    Bytes reply_to(const StatusQuestion&);
    bool is_open(DWORD id) const { return job_ && job_->id == id; }

    Intake& intake_;
    Log& log_;
    const Client& client_;
    const Server& server_;
    std::optional<Job> job_;
    bool begun_ = false;
};

}  // namespace kvdisp12
