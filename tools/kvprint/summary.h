#pragma once
// What is said when a document has been printed, or has not.

#include <nlohmann/json.hpp>
#include <string>

#include "printhost/print_job.h"

namespace kvprint {

// Lines for people.
std::string summary_text(const Request& request, const Played& played);

// A document as docs/json.md has it.
using Json = nlohmann::ordered_json;
Json summary_json(const Request& request, const Played& played, double seconds);
Json fault_json(const Request& request, const std::string& error);
// All of a run's documents, on one line. Bytes of names that are no UTF-8 become the replacement character.
std::string written(Json documents);

}  // namespace kvprint
