// kestrel help [NAME]: what a name of the language means.

#include "cli/command_pages.h"
#include "cli/commands.h"
#include "cli/option_view.h"
#include "platform/near_names.h"
#include "reference/help_text.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <vector>

namespace kestrel::cli {

namespace {

using Catalog = std::vector<reference::Section>;

constexpr std::string_view kCommandsTopic = "commands";

void write(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
}

/// What editors want to know: one object a line.
void writeJson(std::span<const reference::Match> matches) {
    for (const reference::Match& match : matches) {
        const reference::Entry& entry = *match.entry;
        nlohmann::ordered_json object;
        object["topic"] = match.section->topic;
        object["name"] = entry.name;
        object["forms"] = entry.forms;
        object["description"] = entry.description;
        if (!entry.example.code.empty()) object["example"] = entry.example.code;
        if (!entry.example.result.empty()) object["result"] = entry.example.result;
        object["available"] = entry.available;
        write(object.dump() + '\n');
    }
}

/// A command of that name as such an object.
void writeCommandJson(const CLI::App& command) {
    nlohmann::ordered_json object;
    object["topic"] = "commands";
    object["name"] = command.get_name();
    object["forms"] = {"kestrel " + command.get_name()};
    object["description"] = command.get_description();
    object["options"] = nlohmann::ordered_json::array();
    for (const OptionView& option : optionsOf(command)) {
        if (!option.byPlace)
            object["options"].push_back(
                {{"names", option.names}, {"value", option.type}, {"description", option.description}});
    }
    object["available"] = true;
    write(object.dump() + '\n');
}

/// All commands, one a line.
std::string commandList(const CLI::App& app) {
    constexpr std::size_t kColumn = 10;
    std::string text = "Commands\n";
    for (const CLI::App* command : app.get_subcommands({})) {
        std::string name = command->get_name();
        name.resize(std::max(name.size() + 1, kColumn), ' ');
        const std::string description = command->get_description();
        text += "  " + name + description.substr(0, description.find_first_of(";\n")) + "\n";
    }
    return text;
}

std::string nothingFound(const CLI::App& app, const Catalog& catalog, const std::string& name) {
    const std::string text = "Nothing is called '" + name + "'.";
    std::string names;
    for (const CLI::App* command : app.get_subcommands({}))
        if (editDistance(name, command->get_name(), nearDistance(name)) <= nearDistance(name))
            names = command->get_name();
    for (const std::string& near : reference::nearNames(catalog, name))
        names += (names.empty() ? "" : ", ") + near;
    return text + (names.empty() ? " `kestrel help` shows what there is." : " Did you mean: " + names + "?");
}

/// All that a name means, each with an empty line before the next.
int explain(const CLI::App& app, const Catalog& catalog, const std::string& name, Invocation& invocation) {
    const std::vector<reference::Match> matches = reference::find(catalog, name);
    const std::vector<reference::Topic> topics = reference::findTopics(catalog, name);
    const std::vector<const CLI::App*> commands = app.get_subcommands({});
    const auto found = std::ranges::find(commands, name, [](const CLI::App* c) { return c->get_name(); });
    const CLI::App* command = found != commands.end() ? *found : nullptr;
    std::vector<std::string> texts;
    if (command != nullptr) texts.push_back(command->help(app.get_name()));
    if (name == kCommandsTopic) texts.push_back(commandList(app));
    for (const reference::Match& match : matches) texts.push_back(reference::describe(match));
    for (const reference::Topic& topic : topics) texts.push_back(reference::describe(topic));
    if (texts.empty()) {
        complain(invocation, nothingFound(app, catalog, name));
        return kExitUnusable;
    }
    if (invocation.json) {
        for (const CLI::App* one : commands)
            if (one == command || name == kCommandsTopic) writeCommandJson(*one);
        writeJson(matches);
        writeJson(reference::entriesOf(topics));
        return kExitSuccess;
    }
    for (const std::string& text : texts) write((&text == &texts.front() ? "" : "\n") + text);
    return kExitSuccess;
}

int help(const CLI::App& app, const std::string& name, Invocation& invocation) {
    const Catalog catalog = reference::makeCatalog();
    if (!name.empty()) return explain(app, catalog, name, invocation);
    if (invocation.json) {
        writeJson(reference::everything(catalog));
        for (const CLI::App* command : app.get_subcommands({})) writeCommandJson(*command);
    } else {
        write(reference::overview(catalog));
        write("\n" + commandList(app));
    }
    return kExitSuccess;
}

}  // namespace

void addHelpCommand(CLI::App& app, Invocation& invocation) {
    CLI::App* command = app.add_subcommand(
        "help", "Tells what a name of the language means: a function, a member, a directive, a constant ...");
    const auto name = std::make_shared<std::string>();
    command->add_option("NAME", *name, "The name, a topic or a command; without it, all topics are shown")
        ->type_name("");
    const auto shell = std::make_shared<std::string>();
    const auto page = std::make_shared<bool>(false);
    command->add_flag("--man", *page, "Writes the manual page of the command, in roff");
    command
        ->add_option("--completion", *shell,
                     "Writes a script with which a shell completes command lines of kestrel")
        ->check(CLI::IsMember({"bash", "zsh", "fish"}).description(""))
        ->type_name("bash|zsh|fish");
    addMessagesOption(*command, invocation);
    command->callback([name, shell, page, &app, &invocation] {
        if (*page)
            write(manualPage(app));
        else if (!shell->empty())
            write(shellCompletion(app, *shell));
        else
            invocation.exitCode = help(app, *name, invocation);
    });
}

}  // namespace kestrel::cli
