#pragma once
// The pipe's requests, taken apart. A request must be exactly what it says it is.

#include <optional>
#include <span>
#include <variant>

#include "dispatch/messages.h"
#include "dispatcher/text.h"

namespace kvdisp12 {

struct Announcement {
    DWORD spooler_job = 0;
    WORD product_family = 0, product = 0;
    DWORD dialog = 0;
    WORD action = 0;
    Text name, printer;
};
struct HandOver {
    DWORD job;
    Text path;
};
struct Withdrawal {
    DWORD job;
};
struct PathQuestion {};
struct Preparation {};
struct StatusQuestion {};

using Request = std::variant<Announcement, HandOver, Withdrawal, PathQuestion, Preparation, StatusQuestion>;

// What an administrator's program asks beside the driver's requests: nothing follows, and this is the reply.
inline constexpr DWORD kDispatchStatus = 300;
struct ServerStatus {
    DWORD process;
    DWORD clients;  // that are connected, the asking one as well
    DWORD seconds_up;
};

// Nothing for a request of an unknown code, or one with other fields, longer texts or another end than it must have.
std::optional<Request> parse_request(std::span<const BYTE> bytes);

}  // namespace kvdisp12
