#include "dispatcher/delivery.h"

#include <algorithm>

namespace kvdisp12 {
namespace {

std::vector<std::string> split_words(const std::string& text) {
    std::vector<std::string> words;
    char quote = 0;
    bool inside = false;
    for (const char each : text) {
        const bool blank = each == ' ' || each == '\t';
        if (quote != 0 ? each == quote : each == '"' || each == '\'') {
            quote = quote != 0 ? 0 : each;
        } else if (quote == 0 && blank) {
            inside = false;
            continue;
        }
        if (!inside) words.emplace_back();
        inside = true;
        if (each != quote && !(quote == 0 && (each == '"' || each == '\''))) words.back() += each;
    }
    if (quote != 0) throw std::invalid_argument("a quote is not closed");
    return words;
}

bool is_full_path(const std::string& path) { return path.starts_with('/') || path.substr(1, 2) == ":\\"; }

}  // namespace

Destination parse_destination(const std::string& text) {
    const size_t colon = std::min(text.find(':'), text.size());
    const std::string kind = text.substr(0, colon), rest = text.substr(std::min(colon + 1, text.size()));
    Destination destination;
    if (kind == "pdf") {
        destination.kind = Destination::Kind::Pdf;
        destination.folder = rest;
    } else if (kind == "cups") {
        const size_t at = std::min(rest.find('@'), rest.size());
        destination.kind = Destination::Kind::Cups;
        destination.queue = rest.substr(0, at);
        destination.host = rest.substr(std::min(at + 1, rest.size()));
        if (destination.queue.empty() || rest.ends_with('@')) throw std::invalid_argument("cups:QUEUE[@HOST[:PORT]]");
    } else if (kind == "command") {
        destination.kind = Destination::Kind::Command;
        destination.words = split_words(rest);
        if (destination.words.empty() || !is_full_path(destination.words[0])) {
            throw std::invalid_argument("command: the program's full path is needed");
        }
    } else {
        throw std::invalid_argument("pdf:DIR, cups:QUEUE[@HOST] or command:PROGRAM ARGUMENTS is needed, not " + text);
    }
    if (rest.empty()) throw std::invalid_argument(kind + ": where to?");
    return destination;
}

}  // namespace kvdisp12
