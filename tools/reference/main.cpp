// Writes what tells of the programs' options beside --help: reference DIR VERSION DATE makes DIR/man, DIR/bash, DIR/zsh
// and DIR/commands.md. The build runs it.

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>

#include "tools/common/command_text.h"
#include "tools/fidelity/options.h"
#include "tools/kvdisp12/options.h"
#include "tools/kvjob/options.h"
#include "tools/kvprint/options.h"

namespace {

namespace fs = std::filesystem;

template <class Options>
kv::cli::CommandText described(void (*describe)(CLI::App&, Options&)) {
    CLI::App app;
    Options options;
    describe(app, options);
    return kv::cli::text_of(app);
}

void write(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary);
    file << text;
    if (!file.flush()) throw std::runtime_error("cannot write " + path.string());
}

void write_all(const fs::path& folder, const kv::cli::Release& release) {
    using namespace kv::cli;
    const CommandText users[] = {described(kvprint::describe), described(kvjob::describe),
                                 described(kvdisp12::describe)};
    for (const CommandText& program : users) {
        write(folder / "man" / (program.name + ".1"), man_page(program, release));
        write(folder / "bash" / program.name, bash_completion(program));
        write(folder / "zsh" / ("_" + program.name), zsh_completion(program));
    }
    write(folder / "commands.md", commands_page({users[0], users[1], users[2], described(fidelity::describe)}));
}

}  // namespace

int main(int count, char** words) try {
    if (count != 4) return std::fprintf(stderr, "usage: reference DIR VERSION DATE\n"), 2;
    write_all(words[1], {words[2], words[3]});
    return 0;
} catch (const std::exception& error) {
    return std::fprintf(stderr, "reference: %s\n", error.what()), 1;
}
