#include "reference/page.h"

#include "platform/ascii.h"

#include <string_view>
#include <vector>

namespace kestrel::reference {

namespace {

/// A text in which nothing is markup.
std::string plain(std::string_view text) {
    constexpr std::string_view kMarkup = "\\`*_<>|#[]";
    std::string escaped;
    for (const char c : text) {
        if (kMarkup.find(c) != std::string_view::npos) escaped += '\\';
        escaped += c;
    }
    return escaped;
}

/// A text in the letters of a program, for a cell of a table.
std::string code(std::string_view text) {
    if (text.empty()) return "";
    std::string cell = "`";
    for (const char c : text) {
        if (c == '|') cell += '\\';  // would end the cell
        cell += c;
    }
    return cell + '`';
}

/// What a heading is linked by.
std::string anchor(std::string_view heading) {
    std::string link = "#";
    for (const char c : heading) {
        if (ascii::isLetter(c) || ascii::isDigit(c) || c == '-' || c == '_') link += ascii::lower(c);
        if (c == ' ') link += '-';
    }
    return link;
}

std::string link(std::string_view heading) {
    return "[" + plain(heading) + "](" + anchor(heading) + ")";
}

std::string forms(const Entry& entry) {
    std::string cell;
    for (const std::string& form : entry.forms) cell += (cell.empty() ? "" : "<br>") + code(form);
    return cell;
}

std::string example(const Entry& entry) {
    if (entry.example.result.empty()) return code(entry.example.code);
    return code(entry.example.code) + " gives " + code(entry.example.result);
}

std::string row(const Columns& columns, std::string_view name, std::string_view form,
                std::string_view description, std::string_view last) {
    std::string text = "|";
    const auto add = [&text](std::string_view heading, std::string_view cell) {
        if (!heading.empty()) text += ' ' + std::string(cell) + (cell.empty() ? "|" : " |");
    };
    add(columns.name, name);
    add(columns.form, form);
    add(columns.description, description);
    add(columns.example, last);
    return text + '\n';
}

std::string table(const Columns& columns, const Group& group) {
    std::string text = row(columns, columns.name, columns.form, columns.description, columns.example);
    text += row(columns, "---", "---", "---", "---");
    for (const Entry& entry : group.entries) {
        const std::string mark = entry.available ? "" : "*Not available yet.* ";
        text += row(columns, code(entry.name), forms(entry), mark + plain(entry.description), example(entry));
    }
    return text;
}

std::string contents(std::span<const Section> catalog) {
    std::string text;
    for (const Section& section : catalog) {
        text += "- " + link(section.title) + '\n';
        for (const Group& group : section.groups)
            if (!group.title.empty()) text += "  - " + link(group.title) + '\n';
    }
    return text;
}

}  // namespace

std::string writePage(std::span<const Section> catalog) {
    std::string text =
        "<!-- Written by the build from the tables of the language; do not edit. docs/README.md tells how to "
        "renew it. -->\n"
        "\n"
        "# Reference\n"
        "\n"
        "Everything that has a name in the language. `kestrel help NAME` tells the same in the terminal.\n"
        "\n" +
        contents(catalog);
    for (const Section& section : catalog) {
        text += "\n## " + plain(section.title) + "\n\n" + plain(section.about) + '\n';
        for (const Group& group : section.groups) {
            if (!group.title.empty()) text += "\n### " + plain(group.title) + '\n';
            text += '\n' + table(section.columns, group);
        }
    }
    return text;
}

}  // namespace kestrel::reference
