#include "tools/kvcups/ipp.h"

#include <unistd.h>

#include <charconv>
#include <utility>

namespace kvcups {
namespace {

struct Address {
    std::string host;
    int port;
};

Address address_of(const std::string& text) {
    if (text.empty()) return {cupsServer(), ippPort()};
    Address address{text, 631};
    const size_t colon = text.rfind(':');
    const bool in_brackets = text.starts_with('[');  // an address of version 6
    if (colon != std::string::npos && (in_brackets ? text[colon - 1] == ']' : text.find(':') == colon)) {
        std::from_chars(text.data() + colon + 1, text.data() + text.size(), address.port);
        address.host.resize(colon);
    }
    if (in_brackets) address.host = address.host.substr(1, address.host.find(']') - 1);
    return address;
}

}  // namespace

IppQueue::IppQueue(const std::string& queue, const std::string& host, std::string user, int patience)
    : queue_(queue), user_(std::move(user)), patience_(patience) {
    constexpr int kPatience = 10000;  // milliseconds, for a connection
    // Nobody is there to be asked for a password.
    cupsSetPasswordCB2([](const char*, http_t*, const char*, const char*, void*) -> const char* { return nullptr; },
                       nullptr);
    const Address address = address_of(host);
    http_ =
        httpConnect2(address.host.c_str(), address.port, nullptr, AF_UNSPEC, cupsEncryption(), 1, kPatience, nullptr);
    if (!http_) {
        throw IppError(IPP_OP_CUPS_NONE, IPP_STATUS_ERROR_SERVICE_UNAVAILABLE,
                       "CUPS at " + address.host + " cannot be reached: " + cupsLastErrorString());
    }
    httpSetTimeout(http_, 1.0, goes_on_waiting, this);
}

// Called after each second without a byte.
int IppQueue::goes_on_waiting(http_t*, void* self) {
    IppQueue& queue = *static_cast<IppQueue*>(self);
    return ++queue.waited_ < queue.patience_;
}

IppMessage IppQueue::request(ipp_op_t operation) const {
    IppMessage message(ippNewRequest(operation));
    char uri[HTTP_MAX_URI];
    httpAssembleURIf(HTTP_URI_CODING_ALL, uri, sizeof uri, "ipp", nullptr, "localhost", 0, "/printers/%s",
                     queue_.c_str());
    ippAddString(message.get(), IPP_TAG_OPERATION, IPP_TAG_URI, "printer-uri", nullptr, uri);
    ippAddString(message.get(), IPP_TAG_OPERATION, IPP_TAG_NAME, "requesting-user-name", nullptr, user_.c_str());
    return message;
}

IppMessage IppQueue::ask(IppMessage request, int file) {
    waited_ = 0;
    if (file >= 0) lseek(file, 0, SEEK_SET);
    const ipp_op_t operation = ippGetOperation(request.get());
    const std::string resource = "/printers/" + queue_;
    IppMessage reply(cupsDoIORequest(http_, request.release(), resource.c_str(), file, -1));
    const ipp_status_t status = cupsLastError();
    if (!reply || status < IPP_STATUS_OK || status >= IPP_STATUS_REDIRECTION_OTHER_SITE) {
        throw IppError(
            operation, status,
            std::string(ippOpString(operation)) + ": " + ippErrorString(status) + ", " + cupsLastErrorString());
    }
    return reply;
}

}  // namespace kvcups
