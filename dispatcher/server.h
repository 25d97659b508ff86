#pragma once
// Serves the dispatcher's pipe of one session: a thread for each client, and a few that wait for more.

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>

#include "dispatcher/connection.h"

namespace kvdisp12 {

class Server {
public:
    Server(Text pipe_name, const Limits& limits, Intake& intake, Log& log)
        : pipe_name_(std::move(pipe_name)), limits_(limits), intake_(intake), log_(log) {}

    // Both to be set before open(). What a client's Prepare calls; and what says that the server may not end yet.
    void on_prepare(std::function<void()> call) { for_clients_.prepared = std::move(call); }
    void keep_while(std::function<bool()> busy) { busy_ = std::move(busy); }

    // Makes the pipe. False when another dispatcher serves it, also after some time: one that is just ending.
    bool open();
    // Until there has been no client for that long (a client that comes in the last moment is served), or until stop().
    // True: no thread of it is left that anybody can reach. False: it was stopped; no request is being answered and
    // none will be.
    bool run_until_idle(std::chrono::milliseconds idle);
    void run();
    // From any thread.
    void stop();

private:
    enum class State { Serving, Deciding, Ended };

    ServerStatus status();
    HANDLE make_instance(bool first);
    bool add_worker(bool first);
    void work(HANDLE pipe);
    bool begin_client();
    bool end_client();
    bool admit(DWORD process, std::chrono::steady_clock::time_point end);
    void leave(DWORD process);
    void serve(HANDLE pipe);
    void converse(HANDLE pipe, DWORD process, std::chrono::steady_clock::time_point end);
    bool is_trusted(HANDLE pipe, Client& client);
    void begin_answer();
    void begin_sending();
    void end_answer();
    void wait_for_answers(std::unique_lock<std::mutex>& guard);
    bool try_to_end(std::unique_lock<std::mutex>& guard);

    Text pipe_name_;
    const Limits& limits_;
    Intake& intake_;
    Log& log_;
    Connection::Server for_clients_{[] {}, [this] { return status(); }};
    std::function<bool()> busy_ = [] { return false; };

    std::mutex lock_;
    std::condition_variable changed_;
    State state_ = State::Serving;
    bool stopping_ = false, unreachable_ = false;
    unsigned workers_ = 0, clients_ = 0;             // threads, those that have a client
    unsigned answers_ = 0, sending_ = 0;             // those that answer, those whose answer has yet to be taken
    std::map<DWORD, unsigned> of_process_, excess_;  // clients that are served, and those that wait for a place
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point last_client_ = start_;
};

}  // namespace kvdisp12
