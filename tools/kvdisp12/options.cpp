#include "tools/kvdisp12/options.h"

#include <algorithm>
#include <cctype>
#include <charconv>

namespace kvdisp12 {

const char* const kUsage =
    "usage: kvdisp12 [--outbox DIR] [--log FILE] [--idle SECONDS] [/session=N] [/autoexit=1]\n"
    "Takes the jobs of the Karvo driver and files them under their names.\n"
    "  --outbox DIR      where jobs go (default: karvo/outbox in the user's data directory)\n"
    "  --log FILE        gets one line a message (default: kvdisp12.log beside the outbox)\n"
    "  --idle SECONDS    how long /autoexit=1 waits for another client (default: 10)\n"
    "  /session=N        the session to serve (default: this one)\n"
    "  /autoexit=1       ends when idle\n"
    "  /runonce          ends at once\n"
    "  /source=TEXT /job=N /housekeeping=none|minimal    who started it, and for what\n";

namespace {

template <class Number>
Number parse_number(const std::string& text, const std::string& what) {
    Number value = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || stop != text.data() + text.size()) throw UsageError(what + ": not a number: " + text);
    return value;
}

std::string lower_case(std::string text) {
    std::ranges::transform(text, text.begin(),
                           [](unsigned char byte) { return static_cast<char>(std::tolower(byte)); });
    return text;
}

void take_driver_option(const std::string& argument, Options& options) {
    const size_t equals = std::min(argument.find('='), argument.size());
    const std::string name = lower_case(argument.substr(1, equals - 1));
    const std::string value = equals < argument.size() ? argument.substr(equals + 1) : "";
    if (name == "source") {
        options.source = value;
    } else if (name == "session") {
        options.session = static_cast<DWORD>(parse_number<int>(value, "/session"));
        options.has_session = true;
    } else if (name == "job") {
        options.job = parse_number<int>(value, "/job");
    } else if (name == "autoexit") {
        options.autoexit = value == "1";
    } else if (name == "housekeeping") {
        options.housekeeping = value;
    } else if (name == "runonce") {
        options.runonce = true;
    }
}

}  // namespace

Options parse_options(const std::vector<std::string>& arguments) {
    Options options;
    for (size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        const auto value = [&]() -> const std::string& {
            if (++i == arguments.size()) throw UsageError(argument + " needs a value");
            return arguments[i];
        };
        if (argument.starts_with("/")) {
            take_driver_option(argument, options);
        } else if (argument == "--outbox") {
            options.outbox = value();
        } else if (argument == "--log") {
            options.log = value();
        } else if (argument == "--idle") {
            options.idle = parse_number<double>(value(), argument);
        } else if (argument == "--help" || argument == "-h") {
            options.help = true;
        } else {
            throw UsageError("unexpected: " + argument);
        }
    }
    return options;
}

}  // namespace kvdisp12
