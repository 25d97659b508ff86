#include "tools/kvjob/arguments.h"

#include <algorithm>
#include <charconv>

namespace kvjob {

const char* const kUsage =
    "usage: kvjob info JOB.kv                         what the job holds\n"
    "       kvjob check JOB.kv                        every fault with its file offset\n"
    "       kvjob dump [--json] [--page N] JOB.kv     the records\n"
    "       kvjob images --out DIR JOB.kv             the bitmaps as PNG files, JPEG streams as they are\n"
    "       kvjob text [--page N] JOB.kv              the text in reading order\n"
    "       kvjob fonts [--extract DIR] JOB.kv        the fonts, and their embedded files\n";

namespace {

uint32_t parse_page(const std::string& text) {
    uint32_t page = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), page);
    if (error != std::errc() || stop != text.data() + text.size() || page == 0) {
        throw UsageError("--page needs a number from 1");
    }
    return page;
}

// What an option needs to be one of the command's.
struct Option {
    const char* command;
    const char* name;
    void (*take)(Arguments& arguments, const std::string& value);
    bool has_value = true;
};

constexpr Option kOptions[] = {
    {"dump", "--json", [](Arguments& to, const std::string&) { to.json = true; }, false},
    {"dump", "--page", [](Arguments& to, const std::string& value) { to.page = parse_page(value); }},
    {"text", "--page", [](Arguments& to, const std::string& value) { to.page = parse_page(value); }},
    {"fonts", "--extract", [](Arguments& to, const std::string& value) { to.out = value; }},
    {"images", "--out", [](Arguments& to, const std::string& value) { to.out = value; }},
};
constexpr const char* kCommands[] = {"info", "check", "dump", "images", "text", "fonts"};

const Option* find_option(const std::string& command, const std::string& name) {
    for (const Option& option : kOptions) {
        if (command == option.command && name == option.name) return &option;
    }
    return nullptr;
}

void check(const Arguments& parsed) {
    const bool known = std::find(std::begin(kCommands), std::end(kCommands), parsed.command) != std::end(kCommands);
    if (!known) throw UsageError(parsed.command.empty() ? "no command" : "no such command: " + parsed.command);
    if (parsed.job.empty()) throw UsageError("no job file");
    if (parsed.command == "images" && parsed.out.empty()) throw UsageError("no folder: give --out DIR");
}

}  // namespace

Arguments parse_arguments(const std::vector<std::string>& words) {
    Arguments parsed;
    for (size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (word == "--help" || word == "-h") {
            parsed.help = true;
            return parsed;
        }
        if (parsed.command.empty()) {
            parsed.command = word;
        } else if (const Option* option = find_option(parsed.command, word)) {
            if (option->has_value && ++i == words.size()) throw UsageError(word + " needs a value");
            option->take(parsed, words[i]);
        } else if (word.starts_with("-") || !parsed.job.empty()) {
            throw UsageError("unexpected: " + word);
        } else {
            parsed.job = word;
        }
    }
    check(parsed);
    return parsed;
}

}  // namespace kvjob
