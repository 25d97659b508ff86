#include "platform/host/pipe_server.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "platform/host/win32/process.h"

namespace kv::host {
namespace {

using std::chrono::steady_clock;

BOOL finish(DWORD error) { return error == ERROR_SUCCESS ? TRUE : fail_with(error); }

}  // namespace

// A client that has connected and not yet said what it wants.
struct PipeServer::Greeting {
    Descriptor client;
    DWORD process = 0;
    steady_clock::time_point end;
};

Instance::~Instance() {
    if (server) server->remove(this);
}

BOOL Instance::read(LPVOID buffer, DWORD bytes, LPDWORD got) {
    DWORD size = 0;
    if (should_fail(CallKind::Pipe, "ReadFile")) return fail_with(ERROR_BROKEN_PIPE);
    if (!client.is_open()) return fail_with(ERROR_PIPE_NOT_CONNECTED);
    const DWORD error = client.receive(buffer, bytes, &size);
    if (got) *got = size;
    return finish(error);
}

BOOL Instance::write(LPCVOID buffer, DWORD bytes) {
    if (should_fail(CallKind::Pipe, "WriteFile")) return fail_with(ERROR_NO_DATA);
    return client.is_open() ? finish(client.send(buffer, bytes)) : fail_with(ERROR_PIPE_NOT_CONNECTED);
}

std::shared_ptr<PipeServer> PipeServer::start(const std::string& path) {
    auto server = std::make_shared<PipeServer>();
    server->owned_ = Descriptor(open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    sockaddr_un address;
    if (!server->owned_ || flock(server->owned_.get(), LOCK_EX | LOCK_NB) != 0 || !make_address(path, address)) {
        server->owned_.reset();
        return fail_with(ERROR_ACCESS_DENIED, std::shared_ptr<PipeServer>());
    }
    unlink(path.c_str());  // what a server that died left behind
    server->path_ = path;
    server->listener_ = make_socket(SOCK_NONBLOCK);
    if (bind(server->listener_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(server->listener_.get(), SOMAXCONN) != 0) {
        return fail_with(ERROR_ACCESS_DENIED, std::shared_ptr<PipeServer>());
    }
    server->thread_ = std::thread(&PipeServer::answer_clients, server.get());
    return server;
}

PipeServer::~PipeServer() {
    if (listener_) shutdown(listener_.get(), SHUT_RDWR);
    if (thread_.joinable()) thread_.join();
    if (!path_.empty()) unlink(path_.c_str());
}

void PipeServer::answer_clients() {
    constexpr int kLook = 500;  // milliseconds between two looks at who has been silent for too long
    // With more the listener is not asked, nor seen to end: the silent ones go after their time.
    constexpr size_t kMostGreetings = 128;
    std::vector<Greeting> greetings;
    for (;;) {
        std::vector<pollfd> watched;
        watched.reserve(greetings.size() + 1);
        for (const Greeting& greeting : greetings) watched.push_back({greeting.client.get(), POLLIN, 0});
        // With many silent clients new ones wait in the listener's queue.
        if (greetings.size() < kMostGreetings) watched.push_back({listener_.get(), POLLIN, 0});
        if (poll(watched.data(), watched.size(), greetings.empty() ? -1 : kLook) < 0) continue;
        const auto now = steady_clock::now();
        for (size_t i = 0; i < greetings.size(); ++i) {
            if (watched[i].revents) answer(greetings[i]);
            if (greetings[i].end <= now) greetings[i].client.reset();
        }
        const bool more = watched.size() > greetings.size() && watched.back().revents;
        if (watched.size() > greetings.size() && (watched.back().revents & POLLHUP)) return;  // it was shut down
        std::erase_if(greetings, [](const Greeting& greeting) { return !greeting.client; });
        if (more) accept_client(greetings);
    }
}

void PipeServer::accept_client(std::vector<Greeting>& greetings) {
    constexpr auto kPause = std::chrono::milliseconds(10);
    Descriptor client(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!client) {
        if (errno == EMFILE || errno == ENFILE || errno == ENOMEM) std::this_thread::sleep_for(kPause);
        return;
    }
    const DWORD process = own_peer(client.get());
    if (process != 0) {
        set_patience(client.get(), kPipePatience);
        const auto end = steady_clock::now() + std::chrono::seconds(kPipePatience.tv_sec);
        greetings.push_back({std::move(client), process, end});
    }
}

// Closes the client's socket, or gives it to an instance.
void PipeServer::answer(Greeting& greeting) {
    Descriptor client = std::move(greeting.client);
    char question = 0;
    if (receive(client.get(), &question, 1, MSG_DONTWAIT) != 1) return;
    std::lock_guard guard(lock_);
    auto free = std::ranges::find(instances_, Instance::State::Free, &Instance::state);
    const char reply = free != instances_.end() ? kPipeGranted : kPipeBusy;
    const bool told = send(client.get(), &reply, 1, MSG_NOSIGNAL | MSG_DONTWAIT) == 1;
    if (!told || reply == kPipeBusy || question != kPipeOpen) return;
    set_patience(client.get(), {});
    (*free)->client = MessageSocket(std::move(client));
    (*free)->client_process = greeting.process;
    (*free)->state = Instance::State::Connected;
    connected_.notify_all();
}

void PipeServer::add(Instance* instance) {
    std::lock_guard guard(lock_);
    instances_.push_back(instance);
}

void PipeServer::remove(Instance* instance) {
    std::lock_guard guard(lock_);
    std::erase(instances_, instance);
}

BOOL PipeServer::connect(Instance& instance) {
    std::unique_lock guard(lock_);
    if (instance.state == Instance::State::Connected) return fail_with(ERROR_PIPE_CONNECTED);
    instance.state = Instance::State::Free;
    connected_.wait(guard, [&] { return instance.state == Instance::State::Connected; });
    return TRUE;
}

BOOL PipeServer::disconnect(Instance& instance) {
    std::lock_guard guard(lock_);
    instance.client.close();
    instance.client_process = 0;
    instance.state = Instance::State::Disconnected;
    return TRUE;
}

}  // namespace kv::host
