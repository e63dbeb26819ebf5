// The `kestrel` command: hands the command line to the subcommands.

#include "cli/commands.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

namespace {

using namespace kestrel::cli;

void addCommands(CLI::App& app, Invocation& invocation) {
    addCheckCommand(app, invocation);
    addListCommand(app, invocation);
    addRunCommand(app, invocation);
    addShadeCommand(app, invocation);
    addRenderCommand(app, invocation);
    addBenchCommand(app, invocation);
    addOptionsCommand(app, invocation);
    addDebugCommand(app, invocation);
    addHelpCommand(app, invocation);
}

std::string usageProblem(const CLI::App* app, const CLI::Error& error) {
    std::string problem = error.what();
    const std::vector<std::string> rest = app->remaining();
    if (app->get_subcommands().empty() && !rest.empty() && !rest.front().starts_with('-')) {
        problem = "There is no command '" + rest.front() + "'";
    }
    return problem + "\nRun with --help for more information.\n";
}

int runCommand(int argc, char** argv) {
    Invocation invocation;
    CLI::App app{"Compiles, runs and renders Kestrel surface scripts."};
    app.name("kestrel");
    app.set_version_flag("--version", std::string("kestrel ") + KESTREL_VERSION,
                         "Prints the version and exits");
    app.require_subcommand(1);
    app.failure_message(usageProblem);
    app.footer(
        "Exit status: 0 success; 1 the script failed (compile error, or its run was aborted);\n"
        "2 wrong usage, or a file that cannot be used.\n"
        "`kestrel COMMAND --help` tells a command's options with their defaults and units.");
    addCommands(app, invocation);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kExitSuccess : kExitUnusable;
    }
    const bool written = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
    if (!written && invocation.exitCode == kExitSuccess) {
        std::fputs("kestrel: error: standard output: cannot be written\n", stderr);
        invocation.exitCode = kExitUnusable;
    }
    return invocation.exitCode;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return runCommand(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "kestrel: error: %s\n", error.what());
        return kExitUnusable;
    }
}
