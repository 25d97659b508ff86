#include "tools/common/page_list.h"

#include <algorithm>
#include <cstdio>

#include "tools/common/values.h"

namespace kv::cli {
namespace {

constexpr size_t kMostPages = 1'000'000'000;

std::string without_blanks(const std::string& text) {
    const size_t first = text.find_first_not_of(' ');
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(' ') + 1 - first);
}

std::string beyond_line(const std::string& pages, size_t count) {
    return pages + ": the document has " + std::to_string(count) + (count == 1 ? " page" : " pages");
}

}  // namespace

PageList::PageList(const std::string& text, std::string what) : what_(std::move(what)), text_(text) {
    for (size_t at = 0; at <= text.size();) {
        const size_t comma = std::min(text.find(',', at), text.size());
        items_.push_back(parse_item(lower_case(without_blanks(text.substr(at, comma - at))), what_));
        at = comma + 1;
    }
}

PageList::Place PageList::parse_place(const std::string& text, const std::string& what) {
    if (text == "last") return {true, 1};
    const bool from_end = text.starts_with("r");
    const std::string number = text.substr(from_end ? 1 : 0);
    if (number.empty() || number.find_first_not_of("0123456789") != std::string::npos) {
        throw UsageError(what + ": no pages: \"" + text + "\" (write 1-3,7, 5-, last, r2, odd, even or reverse)");
    }
    return {from_end, static_cast<size_t>(parse_whole(number, what, 1, kMostPages))};
}

PageList::Item PageList::parse_item(const std::string& text, const std::string& what) {
    const Place end = {true, 1};
    if (text == "odd") return {text, {false, 1}, end, 2, true};
    if (text == "even") return {text, {false, 2}, end, 2, true};
    if (text == "reverse") return {text, end, {false, 1}, 1, true};
    const size_t dash = text.find('-');
    if (dash == std::string::npos || text.size() == 1) {
        const Place page = parse_place(text, what);
        return {text, page, page, 1, false};
    }
    const std::string first = without_blanks(text.substr(0, dash)), last = without_blanks(text.substr(dash + 1));
    return {text, first.empty() ? Place{} : parse_place(first, what), last.empty() ? end : parse_place(last, what), 1,
            false};
}

std::vector<size_t> PageList::of(size_t count, std::vector<std::string>& beyond) const {
    const auto total = static_cast<long long>(count);
    std::vector<size_t> pages;
    for (const Item& item : items_) {
        auto page = [&](const Place& place) {
            const auto number = static_cast<long long>(place.number);
            return place.from_end ? total + 1 - number : number;
        };
        const long long first = page(item.first), last = page(item.last);
        const auto [low, high] = std::minmax(first, last);
        // From a page to one counted from the end is forward: where that one comes earlier there is nothing between.
        const bool crossed = !item.first.from_end && item.last.from_end && first > last;
        if (!item.open && (crossed ? first > total || last < 1 : low < 1 || high > total)) {
            beyond.push_back(beyond_line(what_ + " " + item.text, count));
        }
        if (crossed) continue;
        const auto step = static_cast<long long>(item.step);
        if (first <= last) {
            for (long long at = std::max(first, 1LL); at <= std::min(last, total); at += step) {
                pages.push_back(static_cast<size_t>(at));
            }
        } else {
            for (long long at = std::min(first, total); at >= std::max(last, 1LL); at -= step) {
                pages.push_back(static_cast<size_t>(at));
            }
        }
    }
    return pages;
}

std::string PageList::beyond_all(size_t count) const { return beyond_line(what_ + " " + text_, count); }

std::function<std::vector<size_t>(size_t count)> page_chooser(PageList list, std::string program) {
    return [list = std::move(list), program = std::move(program)](size_t count) {
        std::vector<std::string> beyond;
        std::vector<size_t> pages = list.of(count, beyond);
        if (pages.empty()) throw std::runtime_error(list.beyond_all(count));
        for (const std::string& line : beyond) std::fprintf(stderr, "%s: %s\n", program.c_str(), line.c_str());
        return pages;
    };
}

}  // namespace kv::cli
