// Completions for bash and zsh. Both ask two things: which command's words stand before the cursor, and whether the
// word in front is an option that has a value.

#include "tools/common/command_text.h"

namespace kv::cli {
namespace {

// Between the single quotes of a shell.
std::string in_quotes(const std::string& text) {
    std::string escaped = "'";
    for (const char letter : text) {
        if (letter == '\'') escaped += "'\\'";
        escaped += letter;
    }
    return escaped + "'";
}

std::string joined(const std::vector<std::string>& words, const std::string& between) {
    std::string line;
    for (const std::string& word : words) line += (line.empty() ? "" : between) + word;
    return line;
}

std::string names_of_commands(const CommandText& program) {
    std::string names;
    for (const CommandText& command : program.commands) names += (names.empty() ? "" : " ") + command.name;
    return names;
}

// What bash does where the word belongs to an option's value.
std::string bash_values(const CommandText& command, const std::string& name) {
    std::string cases;
    for (const OptionText& option : command.options) {
        if (option.value.empty() || option.value_after_equals) continue;
        std::vector<std::string> patterns;
        for (const std::string& each : option.names) patterns.push_back(std::string(name).append(":").append(each));
        cases += "        " + joined(patterns, "|") + ") ";
        switch (kind_of(option.value)) {
            case ValueKind::Choice:
                cases += "compopt +o default; COMPREPLY=($(compgen -W " +
                         in_quotes(joined(choices_of(option.value), " ")) + " -- \"$word\")); return ;;\n";
                break;
            case ValueKind::Folder:
                cases += "compopt -o filenames; COMPREPLY=($(compgen -d -- \"$word\")); return ;;\n";
                break;
            case ValueKind::File:
                cases += "return ;;\n";
                break;
            case ValueKind::None:
                cases += "compopt +o default; return ;;\n";
                break;
        }
    }
    return cases;
}

std::string bash_options(const CommandText& command, const std::string& name) {
    std::vector<std::string> names;
    for (const OptionText& option : command.options) {
        names.insert(names.end(), option.names.begin(), option.names.end());
    }
    return "        " + (name.empty() ? "''" : name) + ") options=" + in_quotes(joined(names, " ")) + " ;;\n";
}

// A text in the brackets of zsh's specifications.
std::string zsh_text(const std::string& text) {
    std::string escaped;
    for (const char letter : text) {
        if (letter == '[' || letter == ']' || letter == ':' || letter == '\\') escaped += '\\';
        escaped += letter;
    }
    return escaped;
}

std::string zsh_action(const std::string& value) {
    switch (kind_of(value)) {
        case ValueKind::Choice:
            return "(" + joined(choices_of(value), " ") + ")";
        case ValueKind::Folder:
            return "_files -/";
        case ValueKind::File:
            return "_files";
        case ValueKind::None:
            return " ";
    }
    return "";
}

std::string zsh_specifications(const CommandText& command) {
    std::string lines;
    for (const OptionText& option : command.options) {
        for (const std::string& name : option.names) {
            const bool attached = !option.value.empty() && name.starts_with("--");
            std::string text = "*" + name;
            if (attached) text += option.value_after_equals ? "=-" : "=";
            text += "[" + zsh_text(option.help) + "]";
            if (!option.value.empty()) {
                text +=
                    (option.value_after_equals ? "::" : ":") + zsh_text(option.value) + ":" + zsh_action(option.value);
            }
            lines += " \\\n        " + in_quotes(text);
        }
    }
    for (const OptionText& input : command.inputs) {
        const std::string& name = input.names.front();
        if (name.starts_with("/")) continue;  // the driver's words, not files
        lines += " \\\n        " + in_quotes("*:" + zsh_text(name) + ":_files");
    }
    return lines;
}

}  // namespace

std::string bash_completion(const CommandText& program) {
    std::string text =
        "# bash completion for " + program.name + "\n_" + program.name + "() {\n" +
        R"(    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} command='' options='' i
    COMPREPLY=()
    # "--name=value" comes as three words.
    if [[ $word == '=' ]]; then
        word=''
    elif [[ $before == '=' ]]; then
        before=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    for ((i = 1; i < COMP_CWORD; ++i)); do
        case " )" +
        names_of_commands(program) + R"( " in
            *" ${COMP_WORDS[i]} "*) command=${COMP_WORDS[i]}; break ;;
        esac
    done
    case $command:$before in
)" + bash_values(program, "");
    for (const CommandText& command : program.commands) text += bash_values(command, command.name);
    text += "    esac\n    case $command in\n" + bash_options(program, "");
    for (const CommandText& command : program.commands) text += bash_options(command, command.name);
    text +=
        "    esac\n    if [[ $word == -* ]]; then\n"
        "        COMPREPLY=($(compgen -W \"$options\" -- \"$word\"))\n";
    if (!program.commands.empty()) {
        text += "    elif [[ -z $command ]]; then\n        compopt +o default\n        COMPREPLY=($(compgen -W " +
                in_quotes(names_of_commands(program)) + " -- \"$word\"))\n";
    }
    // Without an answer bash offers files.
    return text + "    fi\n}\ncomplete -o default -F _" + program.name + " " + program.name + "\n";
}

std::string zsh_completion(const CommandText& program) {
    std::string text = "#compdef " + program.name + "\n_" + program.name + "() {\n";
    if (program.commands.empty()) {
        text += "    _arguments" + zsh_specifications(program) + "\n";
    } else {
        text += "    local curcontext=$curcontext state line\n    local -a commands=(\n";
        for (const CommandText& command : program.commands) {
            text += "        " + in_quotes(command.name + ":" + zsh_text(command.purpose)) + "\n";
        }
        text +=
            "    )\n    _arguments -C" + zsh_specifications(program) +
            " \\\n        '1:command:->command' \\\n        '*::word:->words'\n"
            "    case $state in\n    command) _describe command commands ;;\n    words)\n        case $words[1] in\n";
        for (const CommandText& command : program.commands) {
            text += "        " + command.name + ") _arguments" + zsh_specifications(command) + " ;;\n";
        }
        text += "        esac ;;\n    esac\n";
    }
    return text + "}\n_" + program.name + " \"$@\"\n";
}

}  // namespace kv::cli
