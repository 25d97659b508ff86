#include "dispatcher/server.h"

#include "dispatch/open_security.h"

namespace kvdisp12 {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr DWORD kBufferSize = 4096;

// One request, however long. Empty when the client is gone.
Bytes read_request(HANDLE pipe) {
    Bytes request;
    for (;;) {
        const size_t start = request.size();
        DWORD got = 0;
        request.resize(start + kBufferSize);
        const BOOL whole = ReadFile(pipe, request.data() + start, kBufferSize, &got, nullptr);
        const DWORD error = GetLastError();
        request.resize(start + got);
        if (whole) return request;
        if (error != ERROR_MORE_DATA) return {};
    }
}

}  // namespace

HANDLE Server::make_instance(bool first) {
    kv::OpenSecurity security;
    return CreateNamedPipeW(pipe_name_.c_str(), PIPE_ACCESS_DUPLEX | (first ? DWORD{FILE_FLAG_FIRST_PIPE_INSTANCE} : 0),
                            PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_WAIT, PIPE_UNLIMITED_INSTANCES,
                            kBufferSize, kBufferSize, 0, security.attributes());
}

bool Server::add_worker(bool first) {
    const HANDLE pipe = make_instance(first);
    if (pipe == INVALID_HANDLE_VALUE) return false;
    workers_.emplace_back(&Server::work, this, pipe);
    return true;
}

bool Server::open() {
    constexpr auto kPatience = milliseconds(3000), kPause = milliseconds(50);
    const auto give_up = steady_clock::now() + kPatience;
    for (;;) {
        {
            std::lock_guard guard(lock_);
            if (add_worker(true)) return true;
        }
        if (steady_clock::now() >= give_up) return false;
        std::this_thread::sleep_for(kPause);
    }
}

void Server::work(HANDLE pipe) {
    for (;;) {
        const bool connected = ConnectNamedPipe(pipe, nullptr) || GetLastError() == ERROR_PIPE_CONNECTED;
        if (connected) {
            if (!begin_client()) break;
            converse(pipe);
        }
        DisconnectNamedPipe(pipe);
        if (connected) end_client();
    }
    CloseHandle(pipe);
}

// Waits while the server decides about its end; false when it ends.
bool Server::begin_client() {
    constexpr size_t kWaiting = 4;  // instances, so that clients that come at once need not wait for each other
    std::unique_lock guard(lock_);
    ++clients_;
    changed_.notify_all();
    if (state_ == State::Deciding) {  // most of these clients are the server itself: no need for more instances
        changed_.wait(guard, [&] { return state_ != State::Deciding; });
        return state_ != State::Ended;
    }
    while (workers_.size() - clients_ < kWaiting && add_worker(false)) {
    }
    return true;
}

void Server::end_client() {
    std::lock_guard guard(lock_);
    --clients_;
    last_client_ = steady_clock::now();
    changed_.notify_all();
}

void Server::converse(HANDLE pipe) {
    Connection connection(outbox_, log_);
    for (;;) {
        const Bytes request = read_request(pipe);
        if (request.empty()) return;
        const Bytes reply = connection.answer(request);
        DWORD written = 0;
        if (!WriteFile(pipe, reply.data(), static_cast<DWORD>(reply.size()), &written, nullptr)) return;
    }
}

void Server::run() {
    std::unique_lock guard(lock_);
    changed_.wait(guard, [&] { return state_ == State::Ended; });
}

void Server::run_until_idle(milliseconds idle) {
    std::unique_lock guard(lock_);
    for (;;) {
        if (clients_ > 0) {
            changed_.wait(guard);
        } else if (const auto end = last_client_ + idle; steady_clock::now() < end) {
            changed_.wait_until(guard, end);
        } else if (try_to_end(guard)) {
            break;
        }
    }
    guard.unlock();
    for (std::thread& worker : workers_) worker.join();
}

// Takes every instance of the pipe itself, so that nobody can connect any more. Where another client was faster, the
// server goes on.
bool Server::try_to_end(std::unique_lock<std::mutex>& guard) {
    state_ = State::Deciding;
    std::vector<HANDLE> own;
    bool refused = false;
    while (clients_ < workers_.size() && !refused) {
        guard.unlock();
        const HANDLE pipe =
            CreateFileW(pipe_name_.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        const DWORD error = GetLastError();
        guard.lock();
        if (pipe != INVALID_HANDLE_VALUE) {
            own.push_back(pipe);
        } else if (error == ERROR_PIPE_BUSY) {
            changed_.wait_for(guard, milliseconds(1));  // for the workers to notice, or to wait for clients again
        } else {
            refused = true;
        }
    }
    const bool ended = !refused && own.size() == clients_;
    state_ = ended ? State::Ended : State::Serving;
    last_client_ = steady_clock::now();
    changed_.notify_all();
    for (HANDLE pipe : own) CloseHandle(pipe);
    return ended;
}

}  // namespace kvdisp12
