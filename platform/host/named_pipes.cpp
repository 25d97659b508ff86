// The Win32 functions of named pipes in message mode, and the client's side (pipe_server.h tells the other).

#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <map>

#include "platform/host/pipe_server.h"
#include "platform/host/win32/files.h"
#include "platform/host/win32/process.h"

namespace kv::host {
namespace {

constexpr std::u16string_view kPrefix = u"\\\\.\\pipe\\";

BOOL finish(DWORD error) { return error == ERROR_SUCCESS ? TRUE : fail_with(error); }

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
    set_patience(socket.get(), kPipePatience);
    if (connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        return errno == EAGAIN ? DWORD{ERROR_PIPE_BUSY} : DWORD{ERROR_FILE_NOT_FOUND};
    }
    char reply = kPipeBusy;
    if (send(socket.get(), &question, 1, MSG_NOSIGNAL) != 1 || receive(socket.get(), &reply, 1, 0) != 1 ||
        reply != kPipeGranted) {
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
    if (const DWORD error = ask(name, kPipeOpen, socket)) return fail_with(error, INVALID_HANDLE_VALUE);
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

BOOL GetNamedPipeClientProcessId(HANDLE handle, ULONG* process) {
    if (should_fail(CallKind::Pipe, "GetNamedPipeClientProcessId")) return fail_with(ERROR_INVALID_HANDLE);
    Instance* instance = object_of<Instance>(handle);
    if (!instance) return fail_with(ERROR_INVALID_HANDLE);
    *process = instance->client_process;
    return instance->client_process ? TRUE : fail_with(ERROR_PIPE_NOT_CONNECTED);
}

BOOL GetNamedPipeServerProcessId(HANDLE handle, ULONG* process) {
    if (should_fail(CallKind::Pipe, "GetNamedPipeServerProcessId")) return fail_with(ERROR_INVALID_HANDLE);
    Client* client = object_of<Client>(handle);
    if (!client) return fail_with(ERROR_INVALID_HANDLE);
    *process = own_peer(client->socket.descriptor());
    return *process ? TRUE : fail_with(ERROR_PIPE_NOT_CONNECTED);
}

// Of the next message; the bytes themselves are left to ReadFile.
BOOL PeekNamedPipe(HANDLE handle, LPVOID, DWORD, LPDWORD, LPDWORD available, LPDWORD) {
    if (should_fail(CallKind::Pipe, "PeekNamedPipe")) return fail_with(ERROR_BROKEN_PIPE);
    Instance* instance = object_of<Instance>(handle);
    if (!instance || !instance->client.is_open()) return fail_with(ERROR_PIPE_NOT_CONNECTED);
    return finish(instance->client.peek(available));
}

BOOL WaitNamedPipeW(LPCWSTR name, DWORD milliseconds) {
    if (should_fail(CallKind::Pipe, "WaitNamedPipeW")) return fail_with(ERROR_SEM_TIMEOUT);
    // As on Windows 0 stands for the pipe's own default and 1 for no waiting.
    constexpr DWORD kDefaultWait = 50, kPause = 5;
    if (milliseconds <= 1) milliseconds = milliseconds == 0 ? kDefaultWait : 0;
    const DWORD start = GetTickCount();
    for (;;) {
        Descriptor ignored;
        const DWORD error = is_pipe_name(name) ? ask(name, kPipeProbe, ignored) : DWORD{ERROR_INVALID_NAME};
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
