#include "tools/common/values.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <span>

namespace kv::cli {
namespace {

struct Unit {
    const char* name;
    double factor;
};

// A number of at least 0 with a unit behind it.
double parse_with_unit(const std::string& text, const std::string& what, std::span<const Unit> units) {
    const size_t end = std::min(text.find_first_not_of("0123456789."), text.size());
    double number = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + end, number);
    if (error != std::errc() || stop != text.data() + end) throw UsageError(what + ": not a number: " + text);
    const std::string name = lower_case(text.substr(end));
    const auto unit = std::ranges::find_if(units, [&](const Unit& known) { return name == known.name; });
    if (unit != units.end()) return number * unit->factor;
    std::string known;
    for (const Unit& each : units) {
        if (*each.name != '\0') known += (known.empty() ? "" : ", ") + std::string(each.name);
    }
    throw UsageError(what + ": no such unit: " + text + " (" + known + ")");
}

// Changes of a letter, two that changed places among them, that make one word of the other.
size_t distance(const std::string& from, const std::string& to) {
    std::vector<size_t> before, above(to.size() + 1), row(to.size() + 1);
    for (size_t j = 0; j <= to.size(); ++j) above[j] = j;
    for (size_t i = 1; i <= from.size(); ++i) {
        row[0] = i;
        for (size_t j = 1; j <= to.size(); ++j) {
            row[j] = std::min({above[j] + 1, row[j - 1] + 1, above[j - 1] + (from[i - 1] != to[j - 1])});
            const bool swapped = i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1];
            if (swapped) row[j] = std::min(row[j], before[j - 2] + 1);
        }
        before = above;
        above = row;
    }
    return above[to.size()];
}

}  // namespace

std::string lower_case(std::string text) {
    std::ranges::transform(text, text.begin(),
                           [](unsigned char byte) { return static_cast<char>(std::tolower(byte)); });
    return text;
}

uint64_t parse_whole(const std::string& text, const std::string& what, uint64_t least, uint64_t most) {
    const bool hex = text.starts_with("0x") || text.starts_with("0X");
    const char *begin = text.data() + (hex ? 2 : 0), *end = text.data() + text.size();
    uint64_t value = 0;
    const auto [stop, error] = std::from_chars(begin, end, value, hex ? 16 : 10);
    const bool large = error == std::errc::result_out_of_range;
    if (stop != end || (error != std::errc() && !large)) throw UsageError(what + ": not a whole number: " + text);
    if (large || value < least || value > most) {
        throw UsageError(what + ": from " + std::to_string(least) + " to " + std::to_string(most) + ", not " + text);
    }
    return value;
}

double parse_real(const std::string& text, const std::string& what, double least, double most) {
    double value = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || stop != text.data() + text.size()) throw UsageError(what + ": not a number: " + text);
    if (value >= least && value <= most) return value;
    char range[80];
    std::snprintf(range, sizeof range, ": from %g to %g, not ", least, most);
    throw UsageError(what + range + text);
}

double parse_seconds(const std::string& text, const std::string& what) {
    constexpr Unit kUnits[] = {{"", 1}, {"ms", 0.001}, {"s", 1}, {"min", 60}, {"h", 3600}};
    constexpr double kMost = 1e6;  // 11 days; in milliseconds still a 32-bit number
    const double seconds = parse_with_unit(text, what, kUnits);
    if (!(seconds <= kMost)) throw UsageError(what + ": too long: " + text);
    return seconds;
}

uint64_t parse_bytes(const std::string& text, const std::string& what) {
    constexpr double k = 1024, m = k * k, g = m * k;
    constexpr Unit kUnits[] = {{"", 1},   {"b", 1},   {"k", k}, {"kb", k}, {"kib", k}, {"m", m},
                               {"mb", m}, {"mib", m}, {"g", g}, {"gb", g}, {"gib", g}};
    constexpr double kMost = 9e15;  // whole numbers are exact up to here
    const double bytes = parse_with_unit(text, what, kUnits);
    if (!(bytes <= kMost)) throw UsageError(what + ": too large: " + text);
    return static_cast<uint64_t>(bytes);
}

Pair parse_pair(const std::string& text, const std::string& what) {
    const size_t equals = text.find('=');
    if (equals == std::string::npos || equals == 0 || equals + 1 == text.size()) {
        throw UsageError(what + ": expected NAME=VALUE, not " + text);
    }
    return {text.substr(0, equals), text.substr(equals + 1)};
}

std::pair<std::string, uint32_t> parse_setting(const std::string& text, const std::string& what,
                                               const std::vector<Setting>& known) {
    const auto [name, value] = parse_pair(text, what);
    const auto setting = std::ranges::find_if(known, [&](const Setting& each) { return name == each.name; });
    if (setting == known.end()) {
        const std::vector<std::string> names = [&] {
            std::vector<std::string> all;
            for (const Setting& each : known) all.emplace_back(each.name);
            return all;
        }();
        throw UsageError(what + ": no such setting: " + name + hint_at_nearest(name, names));
    }
    const std::string whole = what + " " + name;
    const uint64_t number = parse_whole(value, whole, setting->least, setting->most);
    if ((number - setting->least) % setting->step != 0) {
        throw UsageError(whole + ": from " + std::to_string(setting->least) + " to " + std::to_string(setting->most) +
                         " in steps of " + std::to_string(setting->step) + ", not " + value);
    }
    return {name, static_cast<uint32_t>(number)};
}

std::string hint_at_nearest(const std::string& word, const std::vector<std::string>& candidates) {
    constexpr size_t kLongest = 100;  // no option is longer, and time grows with the square
    if (word.size() > kLongest) return "";
    size_t least = std::max<size_t>(2, word.size() / 3) + 1;
    const std::string* nearest = nullptr;
    for (const std::string& candidate : candidates) {
        const size_t changes = distance(lower_case(word), lower_case(candidate));
        if (changes >= least || changes >= candidate.size()) continue;
        least = changes;
        nearest = &candidate;
    }
    return nearest ? "; nearest: " + *nearest : "";
}

}  // namespace kv::cli
