#pragma once
// Requests to a queue of CUPS.

#include <cups/cups.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace kvcups {

struct FreeIpp {
    void operator()(ipp_t* message) const { ippDelete(message); }
};
using IppMessage = std::unique_ptr<ipp_t, FreeIpp>;

struct IppError : std::runtime_error {
    IppError(ipp_op_t the_operation, ipp_status_t the_status, const std::string& what)
        : std::runtime_error(what), operation(the_operation), status(the_status) {}
    ipp_op_t operation;
    ipp_status_t status;
};

// A connection, which bounds how long each answer may take. All throw IppError.
class IppQueue {
public:
    // host: empty for the one that this user's programs print to, else HOST or HOST:PORT. patience: in seconds.
    IppQueue(const std::string& queue, const std::string& host, std::string user, int patience);
    ~IppQueue() { httpClose(http_); }
    IppQueue(const IppQueue&) = delete;
    IppQueue& operator=(const IppQueue&) = delete;

    // A request of the user to the queue.
    IppMessage request(ipp_op_t operation) const;
    // The reply; file: what follows the request, from its beginning, or -1.
    IppMessage ask(IppMessage request, int file = -1);

private:
    static int goes_on_waiting(http_t* http, void* self);

    const std::string queue_, user_;
    const int patience_;
    http_t* http_ = nullptr;
    int waited_ = 0;  // seconds, for the answer that is awaited
};

}  // namespace kvcups
