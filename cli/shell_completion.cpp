#include "cli/command_pages.h"
#include "cli/option_view.h"
#include "cli/usage.h"

#include <CLI/CLI.hpp>
#include <algorithm>

namespace kestrel::cli {

namespace {

std::string joined(const std::vector<std::string>& words, std::string_view between = " ") {
    std::string text;
    for (const std::string& word : words) text.append(text.empty() ? "" : between).append(word);
    return text;
}

/// The beginning of a description, without anything that a shell gives a meaning.
std::string brief(const std::string& description) {
    std::string text = description.substr(0, description.find_first_of("(;:\n"));
    std::erase_if(text,
                  [](char c) { return std::string_view("'\"[]\\`$").find(c) != std::string_view::npos; });
    while (text.ends_with(' ') || text.ends_with(',')) text.pop_back();
    return text;
}

// ---- bash ----

std::string bashValues(const CLI::App& app) {
    std::string cases;
    for (const CLI::App* command : app.get_subcommands({})) {
        for (const OptionView& option : optionsOf(*command)) {
            if (option.byPlace || option.type.empty()) continue;
            std::string patterns;
            for (const std::string& name : option.names)
                patterns += (patterns.empty() ? "'" : "|'") + command->get_name() + " " + name + "'";
            std::string action = "COMPREPLY=()";
            if (!option.choices.empty())
                action = "COMPREPLY=($(compgen -W '" + joined(option.choices) + "' -- \"$cur\"))";
            else if (option.takesDirectory)
                action = "COMPREPLY=($(compgen -d -- \"$cur\"))";
            else if (option.takesFile)
                action = "COMPREPLY=($(compgen -f -- \"$cur\"))";
            cases += "        " + patterns + ") " + action + "; return ;;\n";
        }
    }
    return cases;
}

std::string bash(const CLI::App& app) {
    std::string text =
        "# bash completion for kestrel: made by `kestrel help --completion bash`\n"
        "_kestrel() {\n"
        "    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]} command='' options='' i\n"
        "    # --option=value is three words here\n"
        "    if [[ $cur == = ]]; then cur=''\n"
        "    elif [[ $prev == = ]]; then prev=${COMP_WORDS[COMP_CWORD-2]}; fi\n"
        "    for ((i = 1; i < COMP_CWORD; i++)); do\n"
        "        if [[ ${COMP_WORDS[i]} != -* ]]; then command=${COMP_WORDS[i]}; break; fi\n"
        "    done\n"
        "    compopt -o filenames 2>/dev/null\n"
        "    case \"$command $prev\" in\n" +
        bashValues(app) +
        "    esac\n"
        "    case $command in\n"
        "        '') COMPREPLY=($(compgen -W '" +
        joined(commandNames(app)) + " --help --version' -- \"$cur\")); return ;;\n";
    for (const CLI::App* command : app.get_subcommands({})) {
        std::vector<std::string> names;
        for (const OptionView& option : optionsOf(*command))
            if (!option.byPlace) names.insert(names.end(), option.names.begin(), option.names.end());
        text += "        " + command->get_name() + ") options='" + joined(names) + "'";
        if (command->get_name() == "help")
            text += "; COMPREPLY=($(compgen -W '" + joined(commandNames(app)) + "' -- \"$cur\"))";
        text += " ;;\n";
    }
    text +=
        "    esac\n"
        "    if [[ $cur == -* ]]; then COMPREPLY=($(compgen -W \"$options\" -- \"$cur\"))\n"
        "    elif [[ $command != help ]]; then COMPREPLY=($(compgen -f -- \"$cur\")); fi\n"
        "}\n"
        "complete -F _kestrel kestrel\n";
    return text;
}

// ---- zsh ----

std::string zshValue(const OptionView& option) {
    if (option.type.empty()) return {};
    std::string value = ":" + brief(option.type) + ":";
    if (!option.choices.empty())
        value += "(" + joined(option.choices) + ")";
    else if (option.takesDirectory)
        value += "_files -/";
    else if (option.takesFile)
        value += "_files";
    return value;
}

std::string zsh(const CLI::App& app) {
    std::string text =
        "#compdef kestrel\n# made by `kestrel help --completion zsh`\n_kestrel() {\n    local -a commands\n"
        "    commands=(\n";
    for (const CLI::App* command : app.get_subcommands({}))
        text += "        '" + command->get_name() + ":" + brief(command->get_description()) + "'\n";
    text +=
        "    )\n    if (( CURRENT == 2 )); then _describe command commands; return; fi\n"
        "    shift words\n    (( CURRENT-- ))\n    case $words[1] in\n";
    for (const CLI::App* command : app.get_subcommands({})) {
        text += "        " + command->get_name() + ") _arguments";
        for (const OptionView& option : optionsOf(*command)) {
            for (const std::string& name : option.names) {
                text += option.byPlace ? " '*:" + name + ":" + (option.takesFile ? "_files" : "")
                                       : " '*" + name + (option.type.empty() ? "" : "=") + "[" +
                                             brief(option.description) + "]" + zshValue(option);
                text += "'";
            }
        }
        text += " ;;\n";
    }
    return text + "    esac\n}\n_kestrel \"$@\"\n";
}

// ---- fish ----

std::string fish(const CLI::App& app) {
    const std::string names = joined(commandNames(app));
    std::string text =
        "# made by `kestrel help --completion fish`\n"
        "complete -c kestrel -n 'not __fish_seen_subcommand_from " +
        names + "' -f\n";
    for (const CLI::App* command : app.get_subcommands({})) {
        const std::string& name = command->get_name();
        text += "complete -c kestrel -n 'not __fish_seen_subcommand_from " + names + "' -a " + name +
                " -d '" + brief(command->get_description()) + "'\n";
        for (const OptionView& option : optionsOf(*command)) {
            if (option.byPlace) continue;
            text += "complete -c kestrel -n '__fish_seen_subcommand_from " + name + "'";
            for (const std::string& word : option.names)
                text += word.starts_with("--") ? " -l " + word.substr(2) : " -s " + word.substr(1);
            if (!option.choices.empty())
                text += " -x -a '" + joined(option.choices) + "'";
            else if (!option.type.empty())
                text += option.takesFile || option.takesDirectory ? " -r" : " -x";
            text += " -d '" + brief(option.description) + "'\n";
        }
    }
    return text;
}

}  // namespace

std::string shellCompletion(const CLI::App& app, std::string_view shell) {
    if (shell == "zsh") return zsh(app);
    return shell == "fish" ? fish(app) : bash(app);
}

}  // namespace kestrel::cli
