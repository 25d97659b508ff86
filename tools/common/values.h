#pragma once
// Values as people write them. what: the option's name, which begins the fault. All throw UsageError.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tools/common/command_line.h"

namespace kv::cli {

std::string lower_case(std::string text);

// Decimal, or hexadecimal after 0x.
uint64_t parse_whole(const std::string& text, const std::string& what, uint64_t least, uint64_t most);
double parse_real(const std::string& text, const std::string& what, double least, double most);

// Seconds: "10", "0.5", "500ms", "10s", "2min", "1h".
double parse_seconds(const std::string& text, const std::string& what);
// Bytes: "4096", "64k", "128M", "128MiB", "1.5G"; each step is 1024.
uint64_t parse_bytes(const std::string& text, const std::string& what);

// NAME=VALUE, neither of them empty.
using Pair = std::pair<std::string, std::string>;
Pair parse_pair(const std::string& text, const std::string& what);

// A setting by its name, with the values that it can have: from the least to the most, a step apart.
struct Setting {
    const char* name;
    uint32_t least, most, step = 1;
};
std::pair<std::string, uint32_t> parse_setting(const std::string& text, const std::string& what,
                                               const std::vector<Setting>& known);

// "; nearest: NAME" for the candidate that a word was probably meant to be; empty where none is near.
std::string hint_at_nearest(const std::string& word, const std::vector<std::string>& candidates);

}  // namespace kv::cli
