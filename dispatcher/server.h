#pragma once
// Serves the dispatcher's pipe of one session: a thread for each client, and a few that wait for more.

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "dispatcher/connection.h"

namespace kvdisp12 {

class Server {
public:
    Server(Text pipe_name, const Outbox& outbox, Log& log)
        : pipe_name_(std::move(pipe_name)), outbox_(outbox), log_(log) {}

    // Makes the pipe. False when another dispatcher serves it, also after some time: one that is just ending.
    bool open();
    // Until there has been no client for that long, or for ever. A client that comes in the last moment is served.
    void run_until_idle(std::chrono::milliseconds idle);
    void run();

private:
    enum class State { Serving, Deciding, Ended };

    HANDLE make_instance(bool first);
    bool add_worker(bool first);
    void work(HANDLE pipe);
    bool begin_client();
    void end_client();
    void converse(HANDLE pipe);
    bool try_to_end(std::unique_lock<std::mutex>& guard);

    Text pipe_name_;
    const Outbox& outbox_;
    Log& log_;

    std::mutex lock_;
    std::condition_variable changed_;
    State state_ = State::Serving;
    std::vector<std::thread> workers_;
    size_t clients_ = 0;
    std::chrono::steady_clock::time_point last_client_ = std::chrono::steady_clock::now();
};

}  // namespace kvdisp12
