#include "platform/host/message_socket.h"

#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/host/state.h"

namespace kv::host {
namespace {

constexpr char kMessageMark = 'M';

}  // namespace

void Descriptor::reset() {
    if (value_ >= 0) close(std::exchange(value_, -1));
}

Descriptor make_socket(int flags) { return Descriptor(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | flags, 0)); }

bool make_address(const std::string& path, sockaddr_un& address) {
    address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) return false;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return true;
}

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

DWORD own_peer(int descriptor) {
    ucred peer = {};
    socklen_t size = sizeof peer;
    const bool known = getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0;
    return known && peer.uid == geteuid() && peer.pid > 0 ? static_cast<DWORD>(peer.pid) : 0;
}

void MessageSocket::close() {
    socket_.reset();
    rest_.clear();
}

DWORD MessageSocket::send(const void* data, size_t size) {
    char mark = kMessageMark;
    iovec parts[2] = {{&mark, 1}, {const_cast<void*>(data), size}};
    msghdr message = {};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    if (sendmsg(socket_.get(), &message, MSG_NOSIGNAL) >= 0) return ERROR_SUCCESS;
    return errno == EMSGSIZE ? DWORD{ERROR_NOT_ENOUGH_MEMORY} : DWORD{ERROR_NO_DATA};
}

DWORD MessageSocket::receive(void* buffer, size_t capacity, DWORD* got) {
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

DWORD MessageSocket::peek(DWORD* available) {
    *available = static_cast<DWORD>(rest_.size());
    if (has_rest()) return ERROR_SUCCESS;
    char mark;
    const ssize_t size = host::receive(socket_.get(), &mark, 1, MSG_PEEK | MSG_TRUNC | MSG_DONTWAIT);
    if (size < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return ERROR_SUCCESS;
    if (size <= 0) return ERROR_BROKEN_PIPE;
    *available = static_cast<DWORD>(size - 1);
    return ERROR_SUCCESS;
}

DWORD MessageSocket::fetch() {
    char mark;
    const ssize_t size = host::receive(socket_.get(), &mark, 1, MSG_PEEK | MSG_TRUNC);
    if (size <= 0) return ERROR_BROKEN_PIPE;
    std::vector<uint8_t> packet(static_cast<size_t>(size));
    if (host::receive(socket_.get(), packet.data(), packet.size(), 0) != size) return ERROR_BROKEN_PIPE;
    rest_.assign(packet.begin() + 1, packet.end());
    return ERROR_SUCCESS;
}

}  // namespace kv::host
