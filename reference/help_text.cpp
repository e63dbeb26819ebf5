#include "reference/help_text.h"

#include <algorithm>
#include <string_view>

namespace kestrel::reference {

namespace {

constexpr std::size_t kWidth = 80;
constexpr std::string_view kNotYet = "Not available yet.";

/// Breaks a text at blanks; each line is indented.
std::string wrapped(std::string_view text, std::size_t indent) {
    std::string lines;
    const std::size_t room = kWidth - indent;
    while (!text.empty()) {
        std::size_t end = text.size();
        if (end > room) {
            end = text.rfind(' ', room);
            if (end == std::string_view::npos) end = std::min(text.find(' '), text.size());
        }
        lines += std::string(indent, ' ') + std::string(text.substr(0, end)) + '\n';
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

/// Two columns: a name and what it means.
std::string line(std::string_view indent, std::string_view name, std::size_t width,
                 std::string_view meaning) {
    std::string text = std::string(indent) + std::string(name);
    text += std::string(name.size() < width ? width - name.size() : 0, ' ');
    return text + "  " + std::string(meaning) + '\n';
}

std::size_t widestName(const Group& group) {
    std::size_t width = 0;
    for (const Entry& entry : group.entries) width = std::max(width, entry.name.size());
    return width;
}

/// How a form is shown: hints as one reads them, with marks for what belongs to the script.
std::string shownForm(const Section& section, std::string form) {
    if (section.topic != "hints") return form;
    for (std::size_t at = form.find('%'); at != std::string::npos; at = form.find('%', at + 1))
        form.replace(at, 2, form.compare(at, 2, "%d") == 0 ? "N" : "...");
    return form;
}

/// Of messages, what they say; of others, what they mean.
std::string list(const Section& section, const Group& group) {
    std::string text;
    if (!group.title.empty()) text += group.title + '\n';
    for (const Entry& entry : group.entries) {
        const std::string mark = entry.available ? "" : "(Not yet.) ";
        const std::string meaning =
            section.formsAreTexts ? shownForm(section, entry.forms.front()) : entry.description;
        text += line("  ", entry.name, widestName(group), mark + meaning);
    }
    return text;
}

}  // namespace

std::string describe(const Match& match) {
    constexpr std::size_t kIndent = 4;
    const Entry& entry = *match.entry;
    std::string text;
    for (const std::string& form : entry.forms) text += shownForm(*match.section, form) + '\n';
    text += wrapped(entry.description, kIndent);
    if (!entry.available) text += wrapped(kNotYet, kIndent);
    if (!entry.example.code.empty()) {
        const std::string& result = entry.example.result;
        text += "    Example: " + entry.example.code + (result.empty() ? "" : "   gives   " + result) + '\n';
    }
    const std::string& title = match.group->title;
    return text + wrapped(match.section->kind + (title.empty() ? "" : ": " + title), kIndent);
}

std::string describe(const Topic& topic) {
    if (topic.group != nullptr) return list(*topic.section, *topic.group);
    std::string text = topic.section->title + '\n' + wrapped(topic.section->about, 2);
    for (const Group& group : topic.section->groups) text += '\n' + list(*topic.section, group);
    return text;
}

std::string overview(std::span<const Section> catalog) {
    std::string text =
        "kestrel help NAME    tells what a name means: a function, a member, a constant ...\n"
        "kestrel help TOPIC   lists the names of a topic\n"
        "\n"
        "Topics:\n";
    for (const Section& section : catalog) {
        text += line("  ", section.topic, 10, section.title);
        if (!section.groupsAreTopics) continue;
        std::string topics;
        for (const Group& group : section.groups)
            topics += (topics.empty() ? "" : ", ") + firstWord(group.title);
        text += wrapped(topics, 14);
    }
    return text +
           "\n"
           "For example: kestrel help frac, kestrel help vectors, kestrel help strict.\n"
           "`kestrel COMMAND --help` tells the options of a command.\n";
}

}  // namespace kestrel::reference
