#pragma once
// Lists of pages: items with commas between them. An item is a page ("7", "last", "r2": the second from the end), a
// range in either direction ("1-3", "5-", "-3", "last-1"), "odd", "even" or "reverse".

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace kv::cli {

class PageList {
public:
    // Throws UsageError, which begins with what: the option's name.
    PageList(const std::string& text, std::string what);

    // The pages, from 1, of a document of so many, in the order written; a page that is named twice comes twice.
    // beyond: gets a line for each item that names a page the document does not have.
    std::vector<size_t> of(size_t count, std::vector<std::string>& beyond) const;
    // "--pages 7,9: the document has 1 page"
    std::string beyond_all(size_t count) const;

private:
    struct Place {
        bool from_end = false;
        size_t number = 1;  // from 1, at whichever end
    };
    struct Item {
        std::string text;
        Place first, last;
        size_t step = 1;
        bool open = false;  // named without an end: nothing of it is beyond the document, if its first page is there
    };
    static Item parse_item(const std::string& text, const std::string& what);
    static Place parse_place(const std::string& text, const std::string& what);

    std::string what_, text_;
    std::vector<Item> items_;
};

// Chooses the pages of a document of so many. What is beyond its end is said on standard error, after the program's
// name; where that is all, a std::runtime_error says it.
std::function<std::vector<size_t>(size_t count)> page_chooser(PageList list, std::string program);

}  // namespace kv::cli
