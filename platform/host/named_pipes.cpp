// Named pipes in message mode over sockets that keep message boundaries.
//
// The process that serves a name listens on a socket below the shared folder; a thread of it answers each client at
// once: the client gets a free instance, or hears that all are busy. Behind that, every packet is a message with a byte
// in front, so that an empty message is not the end of the stream.

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <map>
#include <thread>
#include <utility>

#include "platform/host/state.h"
#include "platform/host/win32/files.h"
#include "platform/host/win32/process.h"

namespace kv::host {
namespace {

// What a client asks first, and the answers.
enum : char { kOpen = 'O', kProbe = 'P', kGranted = 'G', kBusy = 'B' };
constexpr char kMessageMark = 'M';
constexpr timeval kPatience = {5, 0};  // for the other side's part of the greeting

constexpr std::u16string_view kPrefix = u"\\\\.\\pipe\\";

class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int value) : value_(value) {}
    Descriptor(Descriptor&& other) noexcept : value_(std::exchange(other.value_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(value_, other.value_);
        return *this;
    }
    ~Descriptor() { reset(); }
    void reset() {
        if (value_ >= 0) close(std::exchange(value_, -1));
    }
    int get() const { return value_; }
    explicit operator bool() const { return value_ >= 0; }

private:
    int value_ = -1;
};

Descriptor make_socket() { return Descriptor(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0)); }

bool make_address(const std::string& path, sockaddr_un& address) {
    address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) return false;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return true;
}

const sockaddr* generic(const sockaddr_un& address) { return reinterpret_cast<const sockaddr*>(&address); }

void set_patience(int descriptor, timeval time) {
    setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time);
    setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time);
}

ssize_t receive(int descriptor, void* buffer, size_t size, int flags) {
    ssize_t count;
    do {
        count = recv(descriptor, buffer, size, flags);
    } while (count < 0 && errno == EINTR);
    return count;
}

// A connected socket seen as messages. Functions return an error, 0 for none.
class MessageSocket {
public:
    explicit MessageSocket(Descriptor socket = {}) : socket_(std::move(socket)) {}

    bool is_open() const { return static_cast<bool>(socket_); }
    // Whether a part of a message was received and not yet read.
    bool has_rest() const { return !rest_.empty(); }
    void close() {
        socket_.reset();
        rest_.clear();
    }

    DWORD send(const void* data, size_t size) {
        char mark = kMessageMark;
        iovec parts[2] = {{&mark, 1}, {const_cast<void*>(data), size}};
        msghdr message = {};
        message.msg_iov = parts;
        message.msg_iovlen = 2;
        if (sendmsg(socket_.get(), &message, MSG_NOSIGNAL) >= 0) return ERROR_SUCCESS;
        return errno == EMSGSIZE ? DWORD{ERROR_NOT_ENOUGH_MEMORY} : DWORD{ERROR_NO_DATA};
    }

    // The next message, or what the last call left of one. ERROR_MORE_DATA when it does not fit: the rest stays.
    DWORD receive(void* buffer, size_t capacity, DWORD* got) {
        *got = 0;
        if (rest_.empty()) {
            if (const DWORD error = fetch()) return error;
        }
        const size_t size = std::min(capacity, rest_.size());
        if (size > 0) std::memcpy(buffer, rest_.data(), size);
        *got = static_cast<DWORD>(size);
        rest_.erase(rest_.begin(), rest_.begin() + static_cast<std::ptrdiff_t>(size));
        return rest_.empty() ? DWORD{ERROR_SUCCESS} : DWORD{ERROR_MORE_DATA};
    }

private:
    DWORD fetch() {
        char mark;
        const ssize_t size = host::receive(socket_.get(), &mark, 1, MSG_PEEK | MSG_TRUNC);
        if (size <= 0) return ERROR_BROKEN_PIPE;
        std::vector<uint8_t> packet(static_cast<size_t>(size));
        if (host::receive(socket_.get(), packet.data(), packet.size(), 0) != size) return ERROR_BROKEN_PIPE;
        rest_.assign(packet.begin() + 1, packet.end());
        return ERROR_SUCCESS;
    }

    Descriptor socket_;
    std::vector<uint8_t> rest_;
};

BOOL finish(DWORD error) { return error == ERROR_SUCCESS ? TRUE : fail_with(error); }

class PipeServer;

// An instance of a served pipe. Its state is guarded by the server's lock.
struct Instance : Channel {
    enum class State { Free, Connected, Disconnected };

    std::shared_ptr<PipeServer> server;
    State state = State::Free;
    MessageSocket client;

    ~Instance() override;
    BOOL read(LPVOID buffer, DWORD bytes, LPDWORD got) override;
    BOOL write(LPCVOID buffer, DWORD bytes) override;
};

// Listens for one name.
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
    void answer_clients();
    void answer(Descriptor client);

    std::string path_;
    Descriptor owned_;  // a locked file: the name is this process's
    Descriptor listener_;
    std::thread thread_;
    std::mutex lock_;
    std::condition_variable connected_;
    std::vector<Instance*> instances_;
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
    server->listener_ = make_socket();
    if (bind(server->listener_.get(), generic(address), sizeof address) != 0 ||
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
    for (;;) {
        Descriptor client(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (client) {
            answer(std::move(client));
        } else if (errno == EINVAL || errno == EBADF) {
            return;  // the listener was shut down
        } else if (errno != EINTR && errno != ECONNABORTED) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));  // out of descriptors for now
        }
    }
}

void PipeServer::answer(Descriptor client) {
    set_patience(client.get(), kPatience);
    char question = 0;
    if (receive(client.get(), &question, 1, 0) != 1) return;
    std::lock_guard guard(lock_);
    auto free = std::ranges::find(instances_, Instance::State::Free, &Instance::state);
    const char reply = free != instances_.end() ? kGranted : kBusy;
    const bool told = send(client.get(), &reply, 1, MSG_NOSIGNAL) == 1;
    if (!told || reply == kBusy || question != kOpen) return;
    set_patience(client.get(), {});
    (*free)->client = MessageSocket(std::move(client));
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
    instance.state = Instance::State::Disconnected;
    return TRUE;
}

struct Servers {
    std::mutex lock;
    std::map<std::string, std::weak_ptr<PipeServer>> by_path;
};
Servers& servers() {
    static Servers state;
    return state;
}

struct Client : Channel {
    MessageSocket socket;
    bool reads_messages = false;

    BOOL read(LPVOID buffer, DWORD bytes, LPDWORD got) override {
        DWORD size = 0;
        if (should_fail(CallKind::Pipe, "ReadFile")) return fail_with(ERROR_BROKEN_PIPE);
        const DWORD error = socket.receive(buffer, bytes, &size);
        if (got) *got = size;
        return finish(error == ERROR_MORE_DATA && !reads_messages ? DWORD{ERROR_SUCCESS} : error);
    }
    BOOL write(LPCVOID buffer, DWORD bytes) override {
        if (should_fail(CallKind::Pipe, "WriteFile")) return fail_with(ERROR_NO_DATA);
        return finish(socket.send(buffer, bytes));
    }
};

std::string path_of(const std::u16string& name) { return shared_path("pipe", name.substr(kPrefix.size())); }

// Asks the server of a pipe; on success the connected socket is the client's. Else ERROR_PIPE_BUSY, or
// ERROR_FILE_NOT_FOUND when nobody serves the name.
DWORD ask(const std::u16string& name, char question, Descriptor& connected) {
    const std::string path = path_of(name);
    sockaddr_un address;
    if (path.empty() || !make_address(path, address)) return ERROR_FILE_NOT_FOUND;
    Descriptor socket = make_socket();
    set_patience(socket.get(), kPatience);
    if (connect(socket.get(), generic(address), sizeof address) != 0) {
        return errno == EAGAIN ? DWORD{ERROR_PIPE_BUSY} : DWORD{ERROR_FILE_NOT_FOUND};
    }
    char reply = kBusy;
    if (send(socket.get(), &question, 1, MSG_NOSIGNAL) != 1 || receive(socket.get(), &reply, 1, 0) != 1 ||
        reply != kGranted) {
        return ERROR_PIPE_BUSY;
    }
    set_patience(socket.get(), {});
    connected = std::move(socket);
    return ERROR_SUCCESS;
}

}  // namespace

bool is_pipe_name(const std::u16string& path) { return lower_case(path).starts_with(kPrefix); }

HANDLE open_pipe(const std::u16string& name) {
    if (should_fail(CallKind::Pipe, "CreateFileW") || machine().pipes_deny_access)
        return fail_with(ERROR_ACCESS_DENIED, INVALID_HANDLE_VALUE);
    Descriptor socket;
    if (const DWORD error = ask(name, kOpen, socket)) return fail_with(error, INVALID_HANDLE_VALUE);
    auto client = std::make_unique<Client>();
    client->socket = MessageSocket(std::move(socket));
    return make_handle(std::move(client));
}

}  // namespace kv::host

using namespace kv::host;

HANDLE CreateNamedPipeW(LPCWSTR name, DWORD open_mode, DWORD pipe_mode, DWORD instances, DWORD, DWORD, DWORD,
                        SECURITY_ATTRIBUTES*) {
    if (should_fail(CallKind::Pipe, "CreateNamedPipeW")) return fail_with(ERROR_ACCESS_DENIED, INVALID_HANDLE_VALUE);
    constexpr DWORD kMessages = PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE;
    if (!is_pipe_name(name) || (pipe_mode & kMessages) != kMessages || (open_mode & 3) != PIPE_ACCESS_DUPLEX) {
        return fail_with(ERROR_INVALID_PARAMETER, INVALID_HANDLE_VALUE);
    }
    const std::string path = path_of(name);
    if (path.empty()) return INVALID_HANDLE_VALUE;
    auto instance = std::make_unique<Instance>();
    {
        std::lock_guard guard(servers().lock);
        auto& known = servers().by_path[path];
        std::shared_ptr<PipeServer> server = known.lock();
        if (server && (open_mode & FILE_FLAG_FIRST_PIPE_INSTANCE)) {
            return fail_with(ERROR_ACCESS_DENIED, INVALID_HANDLE_VALUE);
        }
        if (!server) known = server = PipeServer::start(path);
        if (!server) return INVALID_HANDLE_VALUE;
        if (instances != PIPE_UNLIMITED_INSTANCES && server->instances() >= instances) {
            return fail_with(ERROR_PIPE_BUSY, INVALID_HANDLE_VALUE);
        }
        instance->server = server;
        server->add(instance.get());
    }
    return make_handle(std::move(instance));
}

BOOL ConnectNamedPipe(HANDLE handle, void*) {
    if (should_fail(CallKind::Pipe, "ConnectNamedPipe")) return fail_with(ERROR_NO_DATA);
    Instance* instance = object_of<Instance>(handle);
    return instance ? instance->server->connect(*instance) : fail_with(ERROR_INVALID_HANDLE);
}

BOOL DisconnectNamedPipe(HANDLE handle) {
    if (should_fail(CallKind::Pipe, "DisconnectNamedPipe")) return fail_with(ERROR_INVALID_HANDLE);
    Instance* instance = object_of<Instance>(handle);
    return instance ? instance->server->disconnect(*instance) : fail_with(ERROR_INVALID_HANDLE);
}

BOOL WaitNamedPipeW(LPCWSTR name, DWORD milliseconds) {
    if (should_fail(CallKind::Pipe, "WaitNamedPipeW")) return fail_with(ERROR_SEM_TIMEOUT);
    // As on Windows 0 stands for the pipe's own default and 1 for no waiting.
    constexpr DWORD kDefaultWait = 50, kPause = 5;
    if (milliseconds <= 1) milliseconds = milliseconds == 0 ? kDefaultWait : 0;
    const DWORD start = GetTickCount();
    for (;;) {
        Descriptor ignored;
        const DWORD error = is_pipe_name(name) ? ask(name, kProbe, ignored) : DWORD{ERROR_INVALID_NAME};
        if (error != ERROR_PIPE_BUSY) return finish(error);
        const DWORD passed = GetTickCount() - start;
        if (milliseconds != INFINITE && passed >= milliseconds) return fail_with(ERROR_SEM_TIMEOUT);
        pass_time(milliseconds == INFINITE ? kPause : std::min(kPause, milliseconds - passed));
    }
}

BOOL SetNamedPipeHandleState(HANDLE handle, LPDWORD mode, LPDWORD, LPDWORD) {
    if (should_fail(CallKind::Pipe, "SetNamedPipeHandleState")) return fail_with(ERROR_INVALID_HANDLE);
    Client* client = object_of<Client>(handle);
    if (!client) return fail_with(ERROR_INVALID_HANDLE);
    if (mode) client->reads_messages = (*mode & PIPE_READMODE_MESSAGE) != 0;
    return TRUE;
}

BOOL TransactNamedPipe(HANDLE handle, LPVOID request, DWORD request_size, LPVOID reply, DWORD reply_size, LPDWORD got,
                       void*) {
    DWORD size = 0;
    if (got) *got = 0;
    if (should_fail(CallKind::Pipe, "TransactNamedPipe")) return fail_with(ERROR_BROKEN_PIPE);
    Client* client = object_of<Client>(handle);
    if (!client) return fail_with(ERROR_INVALID_HANDLE);
    if (!client->reads_messages) return fail_with(ERROR_BAD_PIPE);
    if (client->socket.has_rest()) return fail_with(ERROR_PIPE_BUSY);
    DWORD error = client->socket.send(request, request_size);
    if (error == ERROR_SUCCESS) error = client->socket.receive(reply, reply_size, &size);
    if (got) *got = size;
    return finish(error);
}
