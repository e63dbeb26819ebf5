#include "cli/option_view.h"

#include "platform/ascii.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <string_view>

namespace kestrel::cli {

namespace {

/// "people|json": every word in small letters is one that may be written.
std::vector<std::string> choicesOf(std::string_view type) {
    std::vector<std::string> choices;
    for (std::string_view rest = type; !rest.empty();) {
        const std::size_t end = std::min(rest.find('|'), rest.size());
        choices.emplace_back(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    const auto isSmall = [](const std::string& word) {
        return std::ranges::all_of(word, [](char c) { return c >= 'a' && c <= 'z'; });
    };
    if (choices.size() < 2 || !std::ranges::all_of(choices, isSmall)) choices.clear();
    return choices;
}

bool namesFile(std::string_view type) {
    constexpr std::array<std::string_view, 4> kKinds{"FILE", "PICTURE", "SCENE", "ANSWERS"};
    return std::ranges::any_of(kKinds, [&](std::string_view kind) { return type.find(kind) != type.npos; });
}

}  // namespace

std::vector<OptionView> optionsOf(const CLI::App& command) {
    std::vector<OptionView> views;
    for (const CLI::Option* option : command.get_options()) {
        OptionView view;
        view.byPlace = option->get_positional();
        if (option->get_group().empty() && !view.byPlace) continue;
        for (const std::string& name : option->get_snames()) view.names.push_back("-" + name);
        for (const std::string& name : option->get_lnames()) view.names.push_back("--" + name);
        if (view.byPlace) view.names = {option->get_single_name()};
        view.description = option->get_description();
        view.byDefault = option->get_default_str();
        if (option->get_items_expected_max() > 0 && !view.byPlace) view.type = option->get_type_name();
        view.choices = choicesOf(view.type);
        view.takesFile = namesFile(view.byPlace ? view.names.front() : view.type);
        view.takesDirectory = view.type == "DIR";
        views.push_back(std::move(view));
    }
    return views;
}

}  // namespace kestrel::cli
