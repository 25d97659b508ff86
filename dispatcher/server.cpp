#include "dispatcher/server.h"

#include <optional>
#include <thread>

namespace kvdisp12 {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr unsigned kWaiting = 4;  // instances, so that clients that come at once need not wait for each other

// One request, of which the beginning is kept. Nothing when the client is gone or sends no end of it.
std::optional<Bytes> read_request(HANDLE pipe) {
    Bytes request(kMostMessage), discarded;
    size_t size = 0;
    while (size < kMostMessage + kMostDiscarded) {
        const bool keep = size < kMostMessage;
        if (!keep) discarded.resize(kMostMessage);
        BYTE* target = keep ? request.data() + size : discarded.data();
        DWORD got = 0;
        const BOOL whole = ReadFile(pipe, target, static_cast<DWORD>(kMostMessage - (keep ? size : 0)), &got, nullptr);
        const DWORD error = GetLastError();
        size += got;
        if (whole) {
            request.resize(std::min(size, kMostMessage));
            if (size > kMostMessage) request.clear();  // not understood, whatever it began with
            return request;
        }
        if (error != ERROR_MORE_DATA) return std::nullopt;
    }
    return std::nullopt;
}

bool leads_here(HANDLE client) {
    ULONG process = 0;
    return GetNamedPipeServerProcessId(client, &process) && process == GetCurrentProcessId();
}

// Whether a request has come before the time is over.
bool wait_for_request(HANDLE pipe, steady_clock::time_point end) {
    constexpr DWORD kLongestPause = 16;  // milliseconds
    for (DWORD pause = 1;; pause = std::min(pause * 2, kLongestPause)) {
        DWORD available = 0;
        if (!PeekNamedPipe(pipe, nullptr, 0, nullptr, &available, nullptr)) return false;
        if (available > 0) return true;
        if (steady_clock::now() >= end) return false;
        Sleep(pause);
    }
}

}  // namespace

HANDLE Server::make_instance(bool first) {
    constexpr DWORD kBufferSize = 4096;
    return CreateNamedPipeW(pipe_name_.c_str(), PIPE_ACCESS_DUPLEX | (first ? DWORD{FILE_FLAG_FIRST_PIPE_INSTANCE} : 0),
                            PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS,
                            limits_.clients, kBufferSize, kBufferSize, 0, pipe_security());
}

// A thread that cannot be made costs that instance alone.
bool Server::add_worker(bool first) {
    const HANDLE pipe = make_instance(first);
    if (pipe == INVALID_HANDLE_VALUE) return false;
    try {
        std::thread(&Server::work, this, pipe).detach();
    } catch (const std::system_error& error) {
        CloseHandle(pipe);
        log_.limited("threads", std::string("No thread for a client: ") + error.what());
        return false;
    }
    ++workers_;
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
    constexpr DWORD kPause = 50;  // milliseconds, when the pipe itself fails
    for (bool more = true; more;) {
        const bool connected = ConnectNamedPipe(pipe, nullptr) || GetLastError() == ERROR_PIPE_CONNECTED;
        if (connected) {
            more = begin_client();
            if (more) serve(pipe);
        } else if (GetLastError() != ERROR_NO_DATA) {
            Sleep(kPause);
        }
        DisconnectNamedPipe(pipe);
        if (connected) more = end_client() && more;
    }
    CloseHandle(pipe);
    std::lock_guard guard(lock_);
    --workers_;
    changed_.notify_all();
}

// Waits while the server decides about its end; false when it ends.
bool Server::begin_client() {
    std::unique_lock guard(lock_);
    ++clients_;
    changed_.notify_all();
    if (state_ == State::Deciding) {  // most of these clients are the server itself: no need for more instances
        changed_.wait(guard, [&] { return state_ != State::Deciding; });
        return state_ != State::Ended;
    }
    while (!stopping_ && workers_ < limits_.clients && workers_ - clients_ < kWaiting && add_worker(false)) {
    }
    if (clients_ == limits_.clients) {
        log_.limited("clients", std::to_string(clients_) + " clients: further ones wait");
    }
    return true;
}

// Whether this thread is needed any longer.
bool Server::end_client() {
    std::lock_guard guard(lock_);
    --clients_;
    last_client_ = steady_clock::now();
    changed_.notify_all();
    return state_ != State::Serving || workers_ - clients_ <= kWaiting;
}

// Waits for a place among the clients of its process, with as many others of it as may have places.
bool Server::admit(DWORD process, steady_clock::time_point end) {
    std::unique_lock guard(lock_);
    const auto has_place = [&] { return of_process_[process] < limits_.clients_of_process; };
    if (!has_place()) {
        log_.limited("process", "Process " + std::to_string(process) + " has " +
                                    std::to_string(limits_.clients_of_process) + " clients: further ones wait");
        if (excess_[process] >= limits_.clients_of_process) return false;
        ++excess_[process];
        const bool placed = changed_.wait_until(guard, end, has_place);
        if (--excess_[process] == 0) excess_.erase(process);
        if (!placed) return false;
    }
    ++of_process_[process];
    return true;
}

void Server::leave(DWORD process) {
    std::lock_guard guard(lock_);
    if (--of_process_[process] == 0) of_process_.erase(process);
    changed_.notify_all();
}

// What goes wrong with a client costs that client alone.
void Server::serve(HANDLE pipe) {
    const auto end = steady_clock::now() + limits_.first_document;
    const DWORD process = process_of_client(pipe);
    try {
        if (!admit(process, end)) return;
        try {
            converse(pipe, process, end);
        } catch (const std::exception& error) {
            log_.limited("exception", std::string("Left a client: ") + error.what());
        }
        leave(process);
    } catch (const std::exception& error) {
        log_.limited("exception", std::string("Left a client: ") + error.what());
    }
}

bool Server::is_trusted(HANDLE pipe, Client& client) {
    if (client.peer != Peer::Stranger) return true;
    client.peer = peer_of(pipe);
    if (client.peer != Peer::Stranger) return true;
    log_.limited("stranger", "Turned away a client of another user, process " + std::to_string(client.process));
    return false;
}

void Server::converse(HANDLE pipe, DWORD process, steady_clock::time_point end) {
    Client client{process};
    Connection connection(intake_, log_, client, for_clients_);
    for (;;) {
        if (!connection.has_begun() && !wait_for_request(pipe, end)) {
            if (steady_clock::now() >= end) {
                log_.limited("silent", "Left process " + std::to_string(process) + ": it announces nothing");
            }
            return;
        }
        const auto request = read_request(pipe);
        if (!request || !is_trusted(pipe, client)) return;
        begin_answer();
        Bytes reply;
        try {
            reply = connection.answer(*request);
        } catch (const std::exception& error) {
            log_.limited("answer", std::string("Cannot answer: ") + error.what());
            reply.assign(sizeof(DWORD), 0);
        }
        begin_sending();
        DWORD written = 0;
        const BOOL sent = WriteFile(pipe, reply.data(), static_cast<DWORD>(reply.size()), &written, nullptr);
        end_answer();
        if (!sent) return;
    }
}

// Between the first and the last of these the process does not end; but a client that reads no answers is not waited
// for.
void Server::begin_answer() {
    std::unique_lock guard(lock_);
    changed_.wait(guard, [&] { return !stopping_; });
    ++answers_;
}
void Server::begin_sending() {
    std::lock_guard guard(lock_);
    ++sending_;
    changed_.notify_all();
}
void Server::end_answer() {
    std::lock_guard guard(lock_);
    --answers_;
    --sending_;
    changed_.notify_all();
}
void Server::wait_for_answers(std::unique_lock<std::mutex>& guard) {
    constexpr auto kPatience = milliseconds(2000);
    changed_.wait(guard, [&] { return answers_ == sending_; });
    changed_.wait_for(guard, kPatience, [&] { return answers_ == 0; });
}

ServerStatus Server::status() {
    std::lock_guard guard(lock_);
    const auto up = std::chrono::duration_cast<std::chrono::seconds>(steady_clock::now() - start_);
    return {GetCurrentProcessId(), clients_, static_cast<DWORD>(up.count())};
}

void Server::stop() {
    std::lock_guard guard(lock_);
    stopping_ = true;
    changed_.notify_all();
}

void Server::run() {
    std::unique_lock guard(lock_);
    changed_.wait(guard, [&] { return stopping_; });
    wait_for_answers(guard);
}

bool Server::run_until_idle(milliseconds idle) {
    constexpr auto kLook = milliseconds(500);
    std::unique_lock guard(lock_);
    while (!stopping_) {
        if (clients_ > 0) {
            changed_.wait(guard);
        } else if (const auto end = last_client_ + idle; steady_clock::now() < end) {
            changed_.wait_until(guard, end);
        } else if (busy_()) {
            changed_.wait_for(guard, kLook);
        } else if (try_to_end(guard)) {
            changed_.wait(guard, [&] { return workers_ == 0 || unreachable_; });
            return true;
        }
    }
    wait_for_answers(guard);
    return false;
}

// Takes every instance of the pipe itself, so that nobody can connect any more. Where another client was faster, the
// server goes on. A name that is gone, or another server's by now, as the user's runtime folder was removed when he
// logged off, leads nobody here.
bool Server::try_to_end(std::unique_lock<std::mutex>& guard) {
    state_ = State::Deciding;
    std::vector<HANDLE> own;
    bool refused = false;
    while (clients_ < workers_ && !refused && !unreachable_) {
        guard.unlock();
        const HANDLE pipe =
            CreateFileW(pipe_name_.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        const DWORD error = GetLastError();
        guard.lock();
        if (pipe != INVALID_HANDLE_VALUE && leads_here(pipe)) {
            own.push_back(pipe);
        } else if (pipe != INVALID_HANDLE_VALUE || error == ERROR_FILE_NOT_FOUND) {
            if (pipe != INVALID_HANDLE_VALUE) CloseHandle(pipe);
            unreachable_ = true;
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
