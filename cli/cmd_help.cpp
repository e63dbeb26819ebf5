// kestrel help [NAME]: what a name of the language means.

#include "cli/commands.h"
#include "cli/message_printer.h"
#include "reference/help_text.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <vector>

namespace kestrel::cli {

namespace {

using Catalog = std::vector<reference::Section>;

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

std::string nothingFound(const Catalog& catalog, const std::string& name) {
    const std::string text = "Nothing is called '" + name + "'.";
    std::string names;
    for (const std::string& near : reference::nearNames(catalog, name))
        names += (names.empty() ? "" : ", ") + near;
    return text + (names.empty() ? " `kestrel help` shows what there is." : " Did you mean: " + names + "?");
}

/// All that a name means, each with an empty line before the next.
int explain(const CLI::App& app, const Catalog& catalog, const std::string& name,
            const Invocation& invocation) {
    const std::vector<reference::Match> matches = reference::find(catalog, name);
    const std::vector<reference::Topic> topics = reference::findTopics(catalog, name);
    std::vector<std::string> texts;
    for (const CLI::App* command : app.get_subcommands({}))
        if (command->get_name() == name) texts.push_back(command->help(app.get_name()));
    for (const reference::Match& match : matches) texts.push_back(reference::describe(match));
    for (const reference::Topic& topic : topics) texts.push_back(reference::describe(topic));
    if (texts.empty()) {
        MessagePrinter(invocation.json, "").plainError(nothingFound(catalog, name));
        return kExitUnusable;
    }
    if (invocation.json) {
        writeJson(matches);
        writeJson(reference::entriesOf(topics));
        return kExitSuccess;
    }
    for (const std::string& text : texts) write((&text == &texts.front() ? "" : "\n") + text);
    return kExitSuccess;
}

int help(const CLI::App& app, const std::string& name, const Invocation& invocation) {
    const Catalog catalog = reference::makeCatalog();
    if (!name.empty()) return explain(app, catalog, name, invocation);
    if (invocation.json) {
        writeJson(reference::everything(catalog));
    } else {
        write(reference::overview(catalog));
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
    addMessagesOption(*command, invocation);
    command->callback([name, &app, &invocation] { invocation.exitCode = help(app, *name, invocation); });
}

}  // namespace kestrel::cli
