#pragma once
// Files of the host, a folder that goes with the test, and the built programs.

#include <string>
#include <vector>

#include "tests/common/bytes.h"

namespace kv::test {

std::string read_file(const std::string& path);  // empty for none
Bytes read_bytes(const std::string& path);
// Returns the path.
std::string write_file(const std::string& path, std::string_view content);
std::string write_file(const std::string& path, const Bytes& content);

// A folder of its own that goes with the object.
class Workspace {
public:
    Workspace();
    ~Workspace();
    Workspace(const Workspace&) = delete;
    Workspace& operator=(const Workspace&) = delete;

    std::string path(const std::string& name) const { return folder_ + "/" + name; }
    std::string read(const std::string& name) const { return read_file(path(name)); }
    template <class Content>
    std::string write(const std::string& name, const Content& content) const {
        return write_file(path(name), content);
    }
    std::vector<std::string> names() const;  // sorted

private:
    std::string folder_;
};

struct ProgramRun {
    int exit_code;
    std::string output, errors;
};
// One of the built programs, started in the folder by a shell; before: what the shell does first.
ProgramRun run(const Workspace& workspace, const std::string& program, const std::string& arguments,
               const std::string& before = "");
// What a shell does before a program that may take no more than so many KiB; nothing under the sanitizer, which
// reserves more than any machine has.
std::string address_space_limit(size_t kib);

}  // namespace kv::test
