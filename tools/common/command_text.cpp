#include "tools/common/command_text.h"

#include <algorithm>
#include <sstream>

namespace kv::cli {
namespace {

std::string one_line(std::string text) {
    std::ranges::replace(text, '\n', ' ');
    return text;
}

std::vector<std::string> split(const std::string& text, char at) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, at);) parts.push_back(part);
    return parts;
}

OptionText text_of(const CLI::Option& option) {
    OptionText text;
    for (const std::string& name : option.get_snames()) text.names.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) text.names.push_back("--" + name);
    if (option.get_positional()) text.names = {option.get_name(true, false)};
    text.value = option.get_option_text();
    if (text.value == " ") text.value.clear();
    if (text.value.starts_with("[=")) {
        text.value = text.value.substr(2, text.value.size() - 3);
        text.value_after_equals = true;
    }
    text.required = option.get_required();
    text.several = option.get_allow_extra_args();
    text.help = one_line(option.get_description());
    return text;
}

// The parts of what stands below the options: a title with a colon, and lines that are set in.
void read_footer(const std::string& footer, CommandText& text) {
    std::string title;
    for (const std::string& line : split(footer, '\n')) {
        if (!line.starts_with("  ")) {
            title = line;
        } else if (title == kExamplesTitle) {
            text.examples.push_back(line.substr(2));
        } else if (title == kExitCodesTitle) {
            const size_t end = line.find(' ', 2);
            text.exit_codes.emplace_back(line.substr(2, end - 2), line.substr(line.find_first_not_of(' ', end)));
        }
    }
}

}  // namespace

CommandText text_of(const CLI::App& app) {
    CommandText text;
    text.name = app.get_name();
    text.purpose = one_line(app.get_description());
    for (const CLI::Option* option : app.get_options()) {
        (option->get_positional() ? text.inputs : text.options).push_back(text_of(*option));
    }
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        text.commands.push_back(text_of(*command));
    }
    read_footer(app.get_footer(), text);
    return text;
}

std::vector<std::string> choices_of(const std::string& value) { return split(value, '|'); }

ValueKind kind_of(const std::string& value) {
    if (value.find('|') != std::string::npos) return ValueKind::Choice;
    if (value == "DIR") return ValueKind::Folder;
    return value == "FILE" || value == "PREFIX" || value.find('.') != std::string::npos ? ValueKind::File
                                                                                        : ValueKind::None;
}

std::string synopsis(const CommandText& command) {
    std::string line = "[options]";
    if (!command.commands.empty()) line += " COMMAND";
    for (const OptionText& input : command.inputs) {
        const std::string name = input.names.front() + (input.several ? " ..." : "");
        line += " " + (input.required ? name : "[" + name + "]");
    }
    return line;
}

}  // namespace kv::cli
