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
    "       kvjob fonts [--extract DIR] JOB.kv        the fonts, and their embedded files\n"
    "       kvjob render [-r DPI] [--pages 1-3,7] -o page-%d.png JOB.kv   the pages as pictures\n"
    "       kvjob render [-r DPI] [--pages 1-3,7] -o NAME.pdf JOB.kv      the pages as a PDF file\n";

namespace {

template <class Number>
bool parse_whole(const std::string& text, Number& number) {
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end;
}

uint32_t parse_page(const std::string& text) {
    uint32_t page = 0;
    if (!parse_whole(text, page) || page == 0) throw UsageError("--page needs a number from 1");
    return page;
}

double parse_dots(const std::string& text) {
    constexpr double kLeast = 1, kMost = 9600;
    double dots = 0;
    if (!parse_whole(text, dots) || !(dots >= kLeast && dots <= kMost)) {
        throw UsageError("-r needs dots per inch, from 1 to 9600");
    }
    return dots;
}

std::vector<std::pair<size_t, size_t>> parse_pages(const std::string& list) {
    std::vector<std::pair<size_t, size_t>> pages;
    for (size_t at = 0; at <= list.size();) {
        const size_t comma = std::min(list.find(',', at), list.size());
        const std::string part = list.substr(at, comma - at);
        const size_t dash = std::min(part.find('-'), part.size());
        size_t first = 0, last = 0;
        const bool numbers = parse_whole(part.substr(0, dash), first) &&
                             parse_whole(dash == part.size() ? part : part.substr(dash + 1), last);
        if (!numbers || first == 0 || last < first) throw UsageError("--pages: no such range: " + part);
        pages.emplace_back(first, last);
        at = comma + 1;
    }
    return pages;
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
    {"render", "-r", [](Arguments& to, const std::string& value) { to.render.dots_per_inch = parse_dots(value); }},
    {"render", "-o", [](Arguments& to, const std::string& value) { to.render.output = value; }},
    {"render", "--pages", [](Arguments& to, const std::string& value) { to.render.pages = parse_pages(value); }},
    {"images", "--out", [](Arguments& to, const std::string& value) { to.out = value; }},
};
constexpr const char* kCommands[] = {"info", "check", "dump", "images", "text", "fonts", "render"};

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
    if (parsed.command == "render") {
        const std::string& output = parsed.render.output;
        if (output.empty()) throw UsageError("no output: give -o page-%d.png or -o NAME.pdf");
        if (!output.ends_with(".png") && !output.ends_with(".pdf")) throw UsageError("-o: neither .png nor .pdf");
    }
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
