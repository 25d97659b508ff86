#pragma once
// What clients may cost. Each limit says so in the log, once a minute, when it is reached.

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace kvdisp12 {

struct Limits {
    // Clients at once. Further ones find the pipe busy and wait.
    unsigned clients = 64;
    // Clients of one process at once. Further ones wait for their first answer.
    unsigned clients_of_process = 16;
    // From connecting to the first document. Between its start and its end there is no limit: pages may take hours.
    std::chrono::milliseconds first_document{30000};
    // Free space, in bytes, below which documents are refused: then the application hears of it.
    uint64_t free_space = 256u << 20;
};

inline constexpr size_t kMostMessage = 8 << 10;    // bytes of a request that are kept: the longest one has 2 KiB
inline constexpr size_t kMostDiscarded = 1 << 20;  // bytes beyond, after which the client is left
inline constexpr size_t kMostText = 260;           // units of a text in a request, with its terminator

}  // namespace kvdisp12
