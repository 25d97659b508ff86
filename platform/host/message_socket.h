#pragma once
// A connected socket that carries a pipe's messages, and what client and server say before: the greeting.
//
// Every packet is a message with a byte in front, so that an empty message is not the end of the stream.

#include <sys/socket.h>
#include <sys/time.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "platform/host/win32/types.h"

struct sockaddr_un;

namespace kv::host {

// What a client asks first, and the answers.
enum : char { kPipeOpen = 'O', kPipeProbe = 'P', kPipeGranted = 'G', kPipeBusy = 'B' };
inline constexpr timeval kPipePatience = {5, 0};  // for the other side's part of the greeting

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
    void reset();
    int get() const { return value_; }
    explicit operator bool() const { return value_ >= 0; }

private:
    int value_ = -1;
};

Descriptor make_socket(int flags = 0);
// False for a path that is too long for an address.
bool make_address(const std::string& path, sockaddr_un& address);
// How long receiving and sending may take; {} for ever.
void set_patience(int descriptor, timeval time);
// As recv, and again when a signal came between.
ssize_t receive(int descriptor, void* buffer, size_t size, int flags);
// The process at the other end when it connected, 0 where it belongs to another user than this one does.
DWORD own_peer(int descriptor);

// Functions return an error, 0 for none.
class MessageSocket {
public:
    explicit MessageSocket(Descriptor socket = {}) : socket_(std::move(socket)) {}

    bool is_open() const { return static_cast<bool>(socket_); }
    int descriptor() const { return socket_.get(); }
    // Whether a part of a message was received and not yet read.
    bool has_rest() const { return !rest_.empty(); }
    void close();
    DWORD send(const void* data, size_t size);
    // The next message, or what the last call left of one. ERROR_MORE_DATA when it does not fit: the rest stays.
    DWORD receive(void* buffer, size_t capacity, DWORD* got);
    // Bytes of the next message without taking it, 0 where none has come or it is empty.
    DWORD peek(DWORD* available);

private:
    DWORD fetch();

    Descriptor socket_;
    std::vector<uint8_t> rest_;
};

}  // namespace kv::host
