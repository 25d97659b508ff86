#include "tools/kvprint/options.h"

#include <algorithm>
#include <charconv>

namespace kvprint {

const char* const kUsage =
    "usage: kvprint INPUT.pdf [-o JOB.kv] [--pages 1-3,7] [--set NAME=VALUE ...]\n"
    "               [--data NAME=VALUE ...] [--list-text FILE] [--quiet]\n"
    "Prints a PDF file through the Karvo driver.\n"
    "  -o JOB.kv          the job file to write; without it the job goes to the dispatcher, kvdisp12\n"
    "  --pages LIST       pages and ranges of pages to print\n"
    "  --set NAME=VALUE   a setting of the printer: Resolution, BitDepth, Compression, JpegQuality, ResDownSamp,\n"
    "                     ResDownSampMono, MarginLeft, MarginTop, MarginRight, MarginBottom, PathEscapes, AutoEm,\n"
    "                     EmbedFonts or CaptureFonts\n"
    "  --data NAME=VALUE  a name and a text that the job carries\n"
    "  --list-text FILE   lists the places of all glyphs that go as text, and the fonts they are given in\n"
    "  --quiet            says nothing when all went well\n";

namespace {

constexpr const char* kSettings[] = {
    "Resolution", "BitDepth",    "Compression",  "JpegQuality", "ResDownSamp", "ResDownSampMono", "MarginLeft",
    "MarginTop",  "MarginRight", "MarginBottom", "PathEscapes", "AutoEm",      "EmbedFonts",      "CaptureFonts",
};

uint32_t parse_number(const std::string& text, const std::string& what) {
    const bool hex = text.starts_with("0x") || text.starts_with("0X");
    const char *begin = text.data() + (hex ? 2 : 0), *end = text.data() + text.size();
    uint32_t value = 0;
    auto [stop, error] = std::from_chars(begin, end, value, hex ? 16 : 10);
    if (error != std::errc() || stop != end || begin == end) throw UsageError(what + ": not a number: " + text);
    return value;
}

std::vector<std::pair<int, int>> parse_pages(const std::string& list) {
    std::vector<std::pair<int, int>> pages;
    for (size_t at = 0; at <= list.size();) {
        const size_t comma = std::min(list.find(',', at), list.size());
        const std::string part = list.substr(at, comma - at);
        const size_t dash = part.find('-');
        const int first = static_cast<int>(parse_number(part.substr(0, dash), "--pages") & 0x7FFFFFFF);
        const int last = dash == std::string::npos
                             ? first
                             : static_cast<int>(parse_number(part.substr(dash + 1), "--pages") & 0x7FFFFFFF);
        if (first < 1 || last < first) throw UsageError("--pages: no such range: " + part);
        pages.emplace_back(first, last);
        at = comma + 1;
    }
    return pages;
}

std::pair<std::string, std::string> parse_pair(const std::string& text, const std::string& what) {
    const size_t equals = text.find('=');
    if (equals == std::string::npos || equals == 0 || equals + 1 == text.size()) {
        throw UsageError(what + ": expected NAME=VALUE: " + text);
    }
    return {text.substr(0, equals), text.substr(equals + 1)};
}

std::pair<std::string, uint32_t> parse_setting(const std::string& text) {
    const auto [name, value] = parse_pair(text, "--set");
    if (std::find(std::begin(kSettings), std::end(kSettings), name) == std::end(kSettings)) {
        throw UsageError("--set: no such setting: " + name);
    }
    return {name, parse_number(value, "--set " + name)};
}

}  // namespace

Options parse_options(const std::vector<std::string>& arguments) {
    Options options;
    for (size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        auto value = [&]() -> const std::string& {
            if (++i == arguments.size()) throw UsageError(argument + " needs a value");
            return arguments[i];
        };
        if (argument == "-o") {
            options.output = value();
        } else if (argument == "--pages") {
            options.pages = parse_pages(value());
        } else if (argument == "--set") {
            options.settings.push_back(parse_setting(value()));
        } else if (argument == "--data") {
            options.data.push_back(parse_pair(value(), "--data"));
        } else if (argument == "--list-text") {
            options.text_list = value();
        } else if (argument == "--quiet") {
            options.quiet = true;
        } else if (argument == "--help" || argument == "-h") {
            options.help = true;
        } else if (argument.starts_with("-")) {
            throw UsageError("no such option: " + argument);
        } else if (!options.input.empty()) {
            throw UsageError("one input at a time: " + argument);
        } else {
            options.input = argument;
        }
    }
    if (options.help) return options;
    if (options.input.empty()) throw UsageError("no input");
    return options;
}

}  // namespace kvprint
