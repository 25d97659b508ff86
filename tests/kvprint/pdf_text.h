#pragma once
// PDF files built as text: the tests' input, and where jobs are printed to.

#include <string>
#include <vector>

namespace kvprint {

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

// A folder of its own that goes with the object.
class Workspace {
public:
    Workspace();
    ~Workspace();
    Workspace(const Workspace&) = delete;
    Workspace& operator=(const Workspace&) = delete;

    std::string path(const std::string& name) const { return folder_ + "/" + name; }
    std::string write(const std::string& name, const std::string& content) const;
    std::vector<std::string> names() const;

private:
    std::string folder_;
};

std::string read_file(const std::string& path);

struct ProgramRun {
    int exit_code;
    std::string output, errors;
};
// One of the built programs.
ProgramRun run(const Workspace& workspace, const std::string& program, const std::string& arguments);

}  // namespace kvprint
