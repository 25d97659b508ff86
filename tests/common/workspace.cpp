#include "tests/common/workspace.h"

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace kv::test {

namespace fs = std::filesystem;

std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}
Bytes read_bytes(const std::string& path) {
    const std::string content = read_file(path);
    return {content.begin(), content.end()};
}
std::string write_file(const std::string& path, std::string_view content) {
    std::ofstream(path, std::ios::binary) << content;
    return path;
}
std::string write_file(const std::string& path, const Bytes& content) {
    return write_file(path, std::string(content.begin(), content.end()));
}

Workspace::Workspace() {
    folder_ = (fs::temp_directory_path() / "karvo-test-XXXXXX").string();
    if (!mkdtemp(folder_.data())) throw fs::filesystem_error(folder_, {});
}
Workspace::~Workspace() {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
}

std::vector<std::string> Workspace::names() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder_)) names.push_back(entry.path().filename());
    std::ranges::sort(names);
    return names;
}

ProgramRun run(const Workspace& workspace, const std::string& program, const std::string& arguments,
               const std::string& before) {
    const Workspace said;
    const std::string command = "{ cd '" + workspace.path("") + "' && " + before + KV_BIN_DIR "/" + program + " " +
                                arguments + "\n} >" + said.path("output") + " 2>" + said.path("errors");
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, said.read("output"), said.read("errors")};
}

std::string address_space_limit([[maybe_unused]] size_t kib) {
#ifdef __SANITIZE_ADDRESS__
    return "";
#else
    return "ulimit -v " + std::to_string(kib) + "; ";
#endif
}

}  // namespace kv::test
