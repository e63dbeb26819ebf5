#include "cli/usage.h"

#include "platform/near_names.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string_view>
#include <vector>

namespace kestrel::cli {

namespace {

std::string withNearest(std::string text, const std::vector<std::string>& names, std::string_view name) {
    const std::vector<std::string_view> candidates(names.begin(), names.end());
    return text + didYouMean(nearestName(name, candidates), Question::AsSentence);
}

std::vector<std::string> optionNames(const CLI::App& command) {
    std::vector<std::string> names;
    for (const CLI::Option* option : command.get_options()) {
        if (option->get_group().empty()) continue;
        for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
        for (const std::string& name : option->get_snames()) names.push_back("-" + name);
    }
    return names;
}

/// About an option of commands that stands before the command; empty for other words.
std::string misplacedProblem(const CLI::App& app, const std::string& word) {
    const std::string name = word.substr(0, word.find('='));
    const std::vector<CLI::App*> chosen = app.get_subcommands();
    for (const CLI::App* command : chosen.empty()
                                       ? app.get_subcommands({})
                                       : std::vector<const CLI::App*>(chosen.begin(), chosen.end())) {
        const std::vector<std::string> names = optionNames(*command);
        if (std::ranges::find(names, name) == names.end()) continue;
        return "the option '" + name + "' stands behind the command: kestrel " + command->get_name() + ' ' +
               word;
    }
    return {};
}

/// About the first word that nothing takes.
std::string surplusProblem(const CLI::App& app, const std::string& word) {
    const std::vector<CLI::App*> commands = app.get_subcommands();
    if (word.size() > 1 && word.starts_with('-')) {
        const CLI::App& command = commands.empty() ? app : *commands.front();
        const std::string name = word.substr(0, word.find('='));
        return withNearest("there is no option '" + name + "'", optionNames(command), name);
    }
    if (commands.empty()) return withNearest("there is no command '" + word + "'", commandNames(app), word);
    return "'" + word + "' is more than " + commands.front()->get_name() + " takes";
}

}  // namespace

std::vector<std::string> commandNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands({})) names.push_back(command->get_name());
    return names;
}

std::string usageProblem(const CLI::App& app, const CLI::Error& error) {
    if (const std::vector<std::string> before = app.remaining(false); !before.empty()) {
        const std::string problem = misplacedProblem(app, before.front());
        if (!problem.empty()) return problem;
    }
    const std::vector<std::string> rest = app.remaining(true);
    if (!rest.empty()) return surplusProblem(app, rest.front());
    if (app.get_subcommands().empty()) return "a command is missing";
    return error.what();
}

bool asksForJson(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string_view word = argv[i];
        if (word == "--") return false;
        if (word == "--messages=json") return true;
        if (word == "--messages" && i + 1 < argc && std::string_view(argv[i + 1]) == "json") return true;
    }
    return false;
}

}  // namespace kestrel::cli
