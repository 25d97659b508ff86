#pragma once
// The process that serves a pipe's name listens on a socket below the shared folder; a thread of it answers each client
// at once: the client gets a free instance, or hears that all are busy. A client that says nothing keeps no other one
// waiting. Clients of other users are turned away.

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/host/message_socket.h"
#include "platform/host/state.h"

namespace kv::host {

class PipeServer;

// An instance of a served pipe. Its state is guarded by the server's lock.
struct Instance : Channel {
    enum class State { Free, Connected, Disconnected };

    std::shared_ptr<PipeServer> server;
    State state = State::Free;
    MessageSocket client;
    DWORD client_process = 0;

    ~Instance() override;
    BOOL read(LPVOID buffer, DWORD bytes, LPDWORD got) override;
    BOOL write(LPCVOID buffer, DWORD bytes) override;
};

class PipeServer {
public:
    // Null, with the last error set, when another process serves the name or nothing can be made there.
    static std::shared_ptr<PipeServer> start(const std::string& path);
    ~PipeServer();

    void add(Instance* instance);
    void remove(Instance* instance);
    size_t instances() {
        std::lock_guard guard(lock_);
        return instances_.size();
    }
    BOOL connect(Instance& instance);
    BOOL disconnect(Instance& instance);

private:
    struct Greeting;

    void answer_clients();
    void accept_client(std::vector<Greeting>& greetings);
    void answer(Greeting& greeting);

    std::string path_;
    Descriptor owned_;  // a locked file: the name is this process's
    Descriptor listener_;
    std::thread thread_;
    std::mutex lock_;
    std::condition_variable connected_;
    std::vector<Instance*> instances_;
};

}  // namespace kv::host
