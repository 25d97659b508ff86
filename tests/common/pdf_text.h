#pragma once
// PDF files built as text.

#include <string>
#include <vector>

namespace kv::test {

// A page of that many points with a content stream. resources: the inside of its dictionary.
struct PdfText {
    int width = 720, height = 720;
    std::vector<std::string> pages;       // content streams
    std::string resources, page_entries;  // page_entries: further entries of the page dictionaries
    std::vector<std::string> objects;     // further objects, numbered from kFirstObject

    static constexpr int kFirstObject = 10;
    std::string text() const;
};
// A stream object's body: dictionary entries and data.
std::string pdf_stream(const std::string& entries, const std::string& data);

}  // namespace kv::test
