#include "cli/command_pages.h"
#include "cli/option_view.h"

#include <CLI/CLI.hpp>

namespace kestrel::cli {

namespace {

/// Text that roff takes as it stands: no escapes, and no line that looks like a request.
std::string roff(std::string_view text) {
    std::string out;
    bool lineStart = true;
    for (const char c : text) {
        if (lineStart && (c == '.' || c == '\'')) out += "\\&";
        lineStart = c == '\n';
        if (c == '\\')
            out += "\\e";
        else if (c == '-')
            out += "\\-";
        else
            out += c;
    }
    return out;
}

std::string namesOf(const OptionView& option) {
    std::string names;
    for (const std::string& name : option.names)
        names += (names.empty() ? "\\fB" : ", \\fB") + roff(name) + "\\fR";
    if (!option.type.empty()) names += " \\fI" + roff(option.type) + "\\fR";
    return names;
}

void addOption(std::string& page, const OptionView& option) {
    page += ".TP\n" + namesOf(option) + "\n" + roff(option.description);
    if (!option.byDefault.empty()) page += " (default: " + roff(option.byDefault) + ")";
    page += "\n";
}

/// @param footer  what every command says at its end, told once
void addCommand(std::string& page, const CLI::App& command, const std::string& footer) {
    page += ".SS \"kestrel " + roff(command.get_name()) + "\"\n" + roff(command.get_description()) + "\n";
    for (const OptionView& option : optionsOf(command)) addOption(page, option);
    if (command.get_footer() != footer) page += ".PP\n" + roff(command.get_footer()) + "\n";
}

constexpr std::string_view kPageEnd =
    ".SH EXIT STATUS\n"
    ".TP\n0\nsuccess\n"
    ".TP\n1\nthe script failed: it does not compile, its run was aborted, or it was ended from outside\n"
    ".TP\n2\nwrong usage, or a file that cannot be read or written\n"
    ".SH ENVIRONMENT\n"
    ".TP\n\\fBKESTREL_PATH\\fR\ndirectories in which inserted files and libraries are looked for, with "
    "colons "
    "between\n"
    ".TP\n\\fBKESTREL_MODULE\\fR\nthe module to load in place of the one that was installed\n"
    ".TP\n\\fBKESTREL_EXECUTOR\\fR\nwhat shades samples where no \\fB--executor\\fR is given\n"
    ".TP\n\\fBNO_COLOR\\fR\nno colour in messages, if it is not empty\n"
    ".SH FILES\n"
    ".TP\n\\fI$XDG_DATA_HOME/kestrel/registry.db\\fR\nwhat scripts store for their user (default: below "
    "\\fI~/.local/share\\fR)\n";

}  // namespace

std::string manualPage(const CLI::App& app) {
    std::string page = ".TH KESTREL 1 \"\" \"kestrel " KESTREL_VERSION
                       "\" \"User Commands\"\n"
                       ".SH NAME\nkestrel \\- " +
                       roff("compiles, runs and renders Kestrel surface scripts") +
                       "\n.SH SYNOPSIS\n\\fBkestrel\\fR \\fICOMMAND\\fR [\\fIOPTIONS\\fR] [\\fIFILE\\fR]\n"
                       ".SH COMMANDS\n";
    for (const CLI::App* command : app.get_subcommands({})) addCommand(page, *command, app.get_footer());
    return page.append(kPageEnd);
}

}  // namespace kestrel::cli
