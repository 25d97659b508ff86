#pragma once
// A program's options as texts, for all that tells of them beside --help: manual pages, completions of shells, the
// table of docs/commands.md.

#include <string>
#include <utility>
#include <vector>

#include "tools/common/command_line.h"

namespace kv::cli {

struct OptionText {
    std::vector<std::string> names;   // "-o", "--output"; of an input what --help calls it
    std::string value;                // what --help calls the value; empty for none
    bool value_after_equals = false;  // the value may be missing, and is written "--name=VALUE"
    bool required = false, several = false;
    std::string help;
};

struct CommandText {
    std::string name, purpose;
    std::vector<OptionText> inputs, options;
    std::vector<CommandText> commands;
    std::vector<std::pair<std::string, std::string>> exit_codes;
    std::vector<std::string> examples;
};

CommandText text_of(const CLI::App& app);

// What a shell offers for a value.
enum class ValueKind { None, File, Folder, Choice };
ValueKind kind_of(const std::string& value);
std::vector<std::string> choices_of(const std::string& value);  // of "a|b|c"

// The line behind the program's and command's name: "[options] JOB.kv ...".
std::string synopsis(const CommandText& command);

struct Release {
    std::string version, date;  // "2026-11-25"
};

std::string man_page(const CommandText& program, const Release& release);  // of section 1
std::string bash_completion(const CommandText& program);
std::string zsh_completion(const CommandText& program);
std::string commands_page(const std::vector<CommandText>& programs);  // Markdown

}  // namespace kv::cli
