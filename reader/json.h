#pragma once
// JSON as the programs write it: members in the order in which they are added, valid UTF-8 whatever the job holds.

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "reader/geometry.h"

namespace kvjob {

using Json = nlohmann::ordered_json;

// On one line. Bytes that are no UTF-8 become the replacement character.
std::string written(const Json& value);
// The same with a blank behind each comma and colon, for people.
std::string spaced(const Json& value);

std::string hex_text(uint32_t number);  // "0x1F"
Json rect_json(const Rect& r);          // [left, top, right, bottom]

}  // namespace kvjob
