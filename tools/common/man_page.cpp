// Manual pages in the macros of man(7), and the same as a page of Markdown.

#include <algorithm>

#include "tools/common/command_text.h"

namespace kv::cli {
namespace {

// For troff: no request begins with a text's dot or quote, and a dash stays the dash that is typed.
std::string roff(const std::string& text) {
    std::string escaped;
    for (const char letter : text) {
        if (letter == '\\') escaped += "\\e";
        if (letter == '-') escaped += '\\';
        if (letter == '\'') escaped += "\\(aq";
        if (letter == '"') escaped += "\\(dq";
        if (letter != '\\' && letter != '\'' && letter != '"') escaped += letter;
    }
    return escaped.starts_with('.') ? "\\&" + escaped : escaped;
}

// A purpose as the line of NAME has it: without the full stop, and small.
std::string summary_of(std::string purpose) {
    if (purpose.ends_with('.')) purpose.pop_back();
    purpose[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(purpose[0])));
    return purpose;
}

std::string upper_case(std::string text) {
    std::ranges::transform(text, text.begin(),
                           [](unsigned char byte) { return static_cast<char>(std::toupper(byte)); });
    return text;
}

std::string names_of(const OptionText& option, const std::string& bold, const std::string& plain,
                     std::string (*escape)(const std::string&)) {
    std::string names;
    for (const std::string& name : option.names) {
        names.append(names.empty() ? "" : ", ").append(bold).append(escape(name)).append(plain);
    }
    return names;
}

// inside_command: --help, which every command has, is said once for all.
void add_options(std::string& page, const std::vector<OptionText>& options, bool inside_command = false) {
    for (const OptionText& option : options) {
        if (inside_command && option.names.back() == "--help") continue;
        page += ".TP\n" + names_of(option, "\\fB", "\\fR", roff);
        if (!option.value.empty()) {
            const std::string value = "\\fI" + roff(option.value) + "\\fR";
            page += option.value_after_equals ? "[=" + value + "]" : " " + value;
        }
        page += "\n" + roff(option.help) + "\n";
    }
}

void add_examples(std::string& page, const std::vector<std::string>& examples) {
    page += ".nf\n";
    for (const std::string& line : examples) page += roff(line) + "\n";
    page += ".fi\n";
}

void add_synopsis(std::string& page, const std::string& program, const CommandText& command) {
    page += ".B " + program + "\n" + roff(synopsis(command)) + "\n";
}

}  // namespace

std::string man_page(const CommandText& program, const Release& release) {
    std::string page = ".TH " + upper_case(program.name) + " 1 " + release.date + " \"Karvo " + release.version +
                       "\" \"User Commands\"\n.ad l\n.nh\n";
    page += ".SH NAME\n" + program.name + " \\- " + roff(summary_of(program.purpose)) + "\n.SH SYNOPSIS\n";
    if (program.commands.empty()) add_synopsis(page, program.name, program);
    for (const CommandText& command : program.commands) {
        add_synopsis(page, program.name + " " + command.name, command);
        page += ".br\n";
    }
    page += ".SH DESCRIPTION\n" + roff(program.purpose) +
            "\n.PP\nOptions stand before or after inputs, a value behind a space or behind \\(dq=\\(dq; after "
            "\\(dq\\-\\-\\(dq come inputs alone. Every command has \\-\\-help.\n";
    if (!program.inputs.empty()) page += ".SH INPUTS\n";
    add_options(page, program.inputs);
    page += ".SH OPTIONS\n";
    add_options(page, program.options);
    if (!program.commands.empty()) page += ".SH COMMANDS\n";
    for (const CommandText& command : program.commands) {
        page += ".SS \"" + command.name + " " + roff(synopsis(command)) + "\"\n" + roff(command.purpose) + "\n";
        add_options(page, command.inputs);
        add_options(page, command.options, true);
        page += ".PP\n";
        add_examples(page, command.examples);
    }
    page += ".SH EXIT STATUS\n";
    for (const auto& [code, meaning] : program.exit_codes) page += ".TP\n.B " + code + "\n" + roff(meaning) + "\n";
    page += ".SH EXAMPLES\n";
    add_examples(page, program.examples);
    page += ".SH SEE ALSO\n";
    std::string others;
    for (const char* other : {"kvdisp12 (1)", "kvjob (1)", "kvprint (1)", "kv (5)"}) {
        if (std::string(other).starts_with(program.name + " ")) continue;
        others += (others.empty() ? "" : ",\n") + std::string(".BR ") + other;
    }
    return page + others + "\n";
}

namespace {

// For a cell of a table.
std::string cell(const std::string& text) {
    std::string escaped;
    for (const char letter : text) {
        if (letter == '|' || letter == '<' || letter == '*' || letter == '[') escaped += '\\';
        escaped += letter;
    }
    return escaped;
}

// Within a code span of a table's cell.
std::string code(const std::string& text) {
    std::string escaped;
    for (const char letter : text) {
        if (letter == '|') escaped += '\\';
        escaped += letter;
    }
    return escaped;
}

void add_table(std::string& page, const CommandText& command) {
    std::vector<OptionText> rows = command.inputs;
    for (const OptionText& option : command.options) {
        if (option.names.back() != "--help") rows.push_back(option);
    }
    if (rows.empty()) return;
    page += "\n| Option or input | What |\n|---|---|\n";
    for (const OptionText& row : rows) {
        const std::string value = code(row.value_after_equals ? "[=" + row.value + "]" : row.value);
        const bool apart = !value.empty() && !row.value_after_equals;
        page += "| `" + names_of(row, "", "", code) + (apart ? " " : "") + value + "` | " + cell(row.help) + " |\n";
    }
}

}  // namespace

std::string commands_page(const std::vector<CommandText>& programs) {
    std::string page =
        "# Commands\n\nFor someone who uses the programs: every command, option and exit code. This page is written by "
        "the\n"
        "build from the tables that `--help` is made of (`cmake --build --preset dev --target write_commands`).\n\n"
        "Options stand before or after inputs; `--name=value` is `--name value`; after `--` come inputs alone; `-` is\n"
        "standard input or output. `--help` and `--version` are answered by every program, `--help` by every "
        "command.\n";
    for (const CommandText& program : programs) {
        page += "\n## " + program.name + "\n\n" + program.purpose + "\n\n    " + program.name + " " +
                synopsis(program) + "\n";
        add_table(page, program);
        for (const CommandText& command : program.commands) {
            page += "\n### " + program.name + " " + command.name + "\n\n" + command.purpose + "\n\n    " +
                    program.name + " " + command.name + " " + synopsis(command) + "\n";
            add_table(page, command);
        }
        page += "\n| Exit code | Meaning |\n|---|---|\n";
        for (const auto& [number, meaning] : program.exit_codes) page += "| " + number + " | " + cell(meaning) + " |\n";
    }
    return page;
}

}  // namespace kv::cli
