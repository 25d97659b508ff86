#pragma once
// What the programs' command lines have in common, on top of CLI11: a program describes its options as a table of calls
// to the functions below, and run() reads the words, answers --help and --version and tells faults.

#include <CLI/CLI.hpp>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace kv::cli {

enum ExitCode : int { kDone = 0, kFailed = 1, kUsageFault = 2, kDoneButFor = 3 };

// What stands above the parts of help below the options.
constexpr const char* kExitCodesTitle = "Exit codes:";
constexpr const char* kExamplesTitle = "Examples:";

// One line of what is wrong, without the program's name.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// What --help and --version answer instead of running the program.
struct Answer {
    std::string text;
};

// Takes an option's value as it was written; throws UsageError for one that cannot be.
using Take = std::function<void(const std::string& value)>;

// An option with a value, or an input when the name has no dash. Given several times it is taken several times, in
// their order; where each replaces the one before, the last one counts. kind: what --help calls the value.
CLI::Option* add_value(CLI::App& app, const std::string& names, const std::string& kind, Take take,
                       const std::string& help);
CLI::Option* add_value(CLI::App& app, const std::string& names, const std::string& kind, std::string& target,
                       const std::string& help);
// An option whose value is written after "=" or not at all: `without` is its value then.
CLI::Option* add_optional_value(CLI::App& app, const std::string& name, const std::string& kind,
                                const std::string& without, Take take, const std::string& help);
// An input that must be there, and only once. name: as --help and faults call it.
CLI::Option* add_input(CLI::App& app, const std::string& name, std::string& target, const std::string& help);
// Of several words for a value the one that was chosen.
CLI::Option* add_choice(CLI::App& app, const std::string& name, const std::vector<std::string>& words, Take take,
                        const std::string& help);
// Examples of the command, a line each, shown at the end of its help.
void add_examples(CLI::App& app, const std::vector<std::string>& lines);

// The program's name and purpose (one sentence), its --help and --version. libraries: those that it is linked with and
// their versions, with commas between them. kept_going: what exit code 3 means, where the program has it. Comes before
// subcommands are added, which inherit.
void introduce(CLI::App& app, const std::string& name, const std::string& purpose, const std::string& libraries,
               const std::string& kept_going = "");

// The words after the program's name. Throws UsageError or Answer.
void parse(CLI::App& app, const std::vector<std::string>& words);

// Parses, runs the action and returns the exit code. What the action throws is told on standard error after the
// program's name; so is a standard output that could not be written.
int run(CLI::App& app, const std::vector<std::string>& words, const std::function<int()>& action);

}  // namespace kv::cli
