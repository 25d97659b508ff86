#include "tools/common/command_line.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tools/common/streams.h"
#include "tools/common/values.h"
#include "tools/common/version.h"

namespace kv::cli {
namespace {

// The command whose words are being read: the program's, or a subcommand's.
const CLI::App& command_of(const CLI::App& app) {
    const std::vector<CLI::App*> chosen = app.get_subcommands();
    return chosen.empty() ? app : *chosen.front();
}

bool asks_for_help(const CLI::App& app) {
    auto asked = [](const CLI::App& each) { return each.get_help_ptr() && each.get_help_ptr()->count() > 0; };
    return asked(app) || asked(command_of(app));
}

std::vector<std::string> options_of(const CLI::App& command) {
    std::vector<std::string> names;
    for (const CLI::Option* option : command.get_options()) {
        for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
        for (const std::string& name : option->get_snames()) names.push_back("-" + name);
    }
    return names;
}

bool is_option(const std::string& word) { return word.size() > 1 && word.starts_with("-"); }

// What is wrong with a word that nothing takes.
std::string unknown(const CLI::App& command, const std::string& word) {
    if (is_option(word)) {
        const std::string name = word.substr(0, word.find('='));
        const std::vector<std::string> known = options_of(command);
        if (std::ranges::find(known, name) != known.end()) return name + " comes after the command";
        return "no such option: " + name + hint_at_nearest(name, known);
    }
    std::vector<std::string> commands;
    for (const CLI::App* each : command.get_subcommands([](const CLI::App*) { return true; })) {
        commands.push_back(each->get_name());
    }
    if (!commands.empty()) return "no such command: " + word + hint_at_nearest(word, commands);
    return "unexpected: " + word;
}

// In our words.
std::string plain(const CLI::App& app, const CLI::ParseError& error) {
    const std::string text = error.what();
    const std::string name = text.substr(0, text.find(": "));
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error)) {
        return name + (text.find("missing") != std::string::npos ? " needs a value" : " takes no such value");
    }
    const bool no_command = app.get_require_subcommand_min() > 0 && app.get_subcommands().empty();
    return no_command ? "a command is required" : text;
}

// What comes of a fault: who asks for help gets it, and a word that nothing takes may have been the cause.
[[noreturn]] void explain(const CLI::App& app, const std::string& fault) {
    if (asks_for_help(app)) throw Answer{app.help()};
    const std::vector<std::string> words = app.remaining(true);
    throw UsageError(words.empty() ? fault : unknown(command_of(app), words.front()));
}

// An option written with its value, where there is none: CLI11 would take the next word.
void refuse_empty_values(const std::vector<std::string>& words) {
    for (const std::string& word : words) {
        if (word == "--") return;
        if (word.starts_with("--") && word.find('=') == word.size() - 1) {
            throw UsageError(word.substr(0, word.size() - 1) + " needs a value");
        }
    }
}

// The words, with the value of each option that has one where none is written: CLI11 would take the next word.
std::vector<std::string> with_values(const CLI::App& app, std::vector<std::string> words) {
    for (std::string& word : words) {
        if (word == "--") break;
        const CLI::Option* option = word.starts_with("--") ? app.get_option_no_throw(word) : nullptr;
        if (option == app.get_config_ptr()) continue;  // its default is the file where none is named
        if (option && !option->get_default_str().empty()) word += "=" + option->get_default_str();
    }
    return words;
}

std::string hint(const CLI::App& app) {
    const CLI::App& command = command_of(app);
    const std::string name = &command == &app ? "" : " " + command.get_name();
    return "; see " + app.get_name() + name + " --help";
}

// Lines of help beside the names, without the last one's end.
std::string wrapped(const std::string& text) {
    constexpr size_t kColumns = 90;
    std::string lines;
    size_t at = 0;
    while (text.size() - at > kColumns) {
        size_t end = text.rfind(' ', at + kColumns);
        if (end == std::string::npos || end <= at) end = std::min(text.find(' ', at), text.size() - 1);
        lines += text.substr(at, end - at) + '\n';
        at = end + 1;
    }
    return lines + text.substr(at);
}

// Below the options.
void add_part(CLI::App& app, const std::string& title, const std::vector<std::string>& lines) {
    std::string text = app.get_footer();
    if (!text.empty()) text += "\n\n";
    text += title;
    for (const std::string& line : lines) text += "\n  " + line;
    app.footer(text);
}

int tell(const CLI::App& app, const std::string& what, ExitCode code) {
    std::fprintf(stderr, "%s: %s\n", app.get_name().c_str(), what.c_str());
    return code;
}

}  // namespace

CLI::Option* add_value(CLI::App& app, const std::string& names, const std::string& kind, Take take,
                       const std::string& help) {
    CLI::callback_t take_all = [take = std::move(take)](const CLI::results_t& values) {
        std::ranges::for_each(values, take);
        return true;
    };
    CLI::Option* option = app.add_option(names, std::move(take_all), wrapped(help));
    return option->option_text(kind)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

CLI::Option* add_value(CLI::App& app, const std::string& names, const std::string& kind, std::string& target,
                       const std::string& help) {
    return add_value(
        app, names, kind, [&target](const std::string& value) { target = value; }, help);
}

CLI::Option* add_optional_value(CLI::App& app, const std::string& name, const std::string& kind,
                                const std::string& without, Take take, const std::string& help) {
    return add_value(app, name, "[=" + kind + "]", std::move(take), help)->default_str(without);
}

CLI::Option* add_input(CLI::App& app, const std::string& name, std::string& target, const std::string& help) {
    return add_value(app, name, " ", target, help)->required();
}

CLI::Option* add_choice(CLI::App& app, const std::string& name, const std::vector<std::string>& words, Take take,
                        const std::string& help) {
    std::string kinds;
    for (const std::string& word : words) kinds += (kinds.empty() ? "" : "|") + word;
    auto take_known = [words, name, take = std::move(take)](const std::string& word) {
        if (std::ranges::find(words, word) == words.end()) {
            throw UsageError(name + ": no such choice: " + word + hint_at_nearest(word, words));
        }
        take(word);
    };
    return add_value(app, name, kinds, std::move(take_known), help);
}

void add_examples(CLI::App& app, const std::vector<std::string>& lines) { add_part(app, kExamplesTitle, lines); }

void introduce(CLI::App& app, const std::string& name, const std::string& purpose, const std::string& libraries,
               const std::string& kept_going) {
    app.name(name);
    app.description(purpose);
    app.set_help_flag("-h,--help", "this help");
    app.set_version_flag("--version",
                         name + " " + version() + "\nlibraries: " + libraries + (libraries.empty() ? "" : ", ") +
                             "CLI11 " + CLI11_VERSION + "\n",
                         "the version of the program and of its libraries");
    app.allow_windows_style_options(false);  // "/" begins a path
    const auto formatter = std::make_shared<CLI::Formatter>();
    constexpr size_t kNames = 28;  // columns
    formatter->column_width(kNames);
    for (const auto& [from, to] : {std::pair("Usage", "usage"),
                                   {"OPTIONS", "options"},
                                   {"Positionals", "Inputs"},
                                   {"SUBCOMMAND", "COMMAND"},
                                   {"REQUIRED", ""}}) {
        formatter->label(from, to);
    }
    app.formatter(formatter);
    std::vector<std::string> codes = {"0  done", "1  it failed; a line on standard error says what and why",
                                      "2  the command line cannot be; nothing was done"};
    if (!kept_going.empty()) codes.push_back("3  " + kept_going);
    add_part(app, kExitCodesTitle, codes);
}

void parse(CLI::App& app, const std::vector<std::string>& words) {
    try {
        refuse_empty_values(words);
        std::vector<std::string> reversed = with_values(app, words);
        std::ranges::reverse(reversed);
        app.parse(std::move(reversed));
    } catch (const CLI::CallForHelp&) {
        throw Answer{app.help()};
    } catch (const CLI::CallForVersion& version) {
        throw Answer{version.what()};
    } catch (const CLI::ParseError& error) {
        explain(app, plain(app, error));
    } catch (const UsageError& error) {
        explain(app, error.what());
    }
}

int run(CLI::App& app, const std::vector<std::string>& words, const std::function<int()>& action) {
    hold_standard_streams();
    int code = kDone;
    try {
        parse(app, words);
        code = action();
    } catch (const Answer& answer) {
        std::fputs(answer.text.c_str(), stdout);
    } catch (const UsageError& error) {
        return tell(app, error.what() + hint(app), kUsageFault);
    } catch (const std::exception& error) {
        code = tell(app, error.what(), kFailed);
    }
    const bool written = std::fflush(stdout) == 0 && !std::ferror(stdout);
    return written ? code : tell(app, std::string("cannot write the output: ") + std::strerror(errno), kFailed);
}

}  // namespace kv::cli
