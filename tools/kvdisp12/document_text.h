#pragma once
// Documents and states of the dispatcher as an administrator reads them, and as JSON for programs.

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "dispatcher/journal.h"
#include "dispatcher/request.h"

namespace kvdisp12 {

// What one state folder tells.
struct Summary {
    std::string folder;
    std::string fault;                                    // why it cannot be read; empty where it can
    std::vector<std::pair<std::string, int64_t>> counts;  // of documents, by state
    int64_t waiting = 0, oldest_waiting = 0;              // documents, and the age of the oldest in seconds
    uint64_t free_space = 0;                              // bytes
    bool short_of_space = false;
    std::vector<std::string> errors;  // the last ones
};
// It cannot be read, is short of space, or a document has waited for more than ten minutes.
bool needs_attention(const Summary& summary);

struct Overview {
    std::optional<ServerStatus> running;
    std::vector<Summary> summaries;
};

std::string table_of(const std::vector<Document>& documents);
std::string text_of(const Document& document);
std::string text_of(const Overview& overview);
std::string json_of(const std::vector<Document>& documents);
std::string json_of(const Document& document);
std::string json_of(const Overview& overview);

}  // namespace kvdisp12
