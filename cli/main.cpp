// The `kestrel` command: hands the command line to the subcommands.

#include "cli/commands.h"
#include "cli/usage.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <new>
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

/// What has been said is lost where it was not written, whatever came of the work.
void checkStandardOutput(Invocation& invocation) {
    const bool written = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
    if (written || invocation.exitCode != kExitSuccess) return;
    std::fputs("kestrel: error: standard output: cannot be written\n", stderr);
    invocation.exitCode = kExitUnusable;
}

/// @return the exit status
int endParsing(const CLI::App& app, const CLI::ParseError& error, Invocation& invocation) {
    if (error.get_exit_code() == 0) {  // --help, --version
        app.exit(error);
        checkStandardOutput(invocation);
        return invocation.exitCode;
    }
    complain(invocation, usageProblem(app, error));
    const std::vector<CLI::App*> commands = app.get_subcommands();
    const std::string command = commands.empty() ? "" : " " + commands.front()->get_name();
    if (!invocation.json) std::fprintf(stderr, "`kestrel%s --help` tells what there is.\n", command.c_str());
    return kExitUnusable;
}

int runCommand(int argc, char** argv, Invocation& invocation) {
    CLI::App app{"Compiles, runs and renders Kestrel surface scripts."};
    app.name("kestrel");
    app.set_version_flag("--version", std::string("kestrel ") + KESTREL_VERSION,
                         "Prints the version and exits");
    app.require_subcommand(1);
    app.footer(
        "Exit status: 0 success; 1 the script failed (compile error, or its run was aborted);\n"
        "2 wrong usage, or a file that cannot be used.\n"
        "`kestrel COMMAND --help` tells a command's options with their defaults and units.");
    addCommands(app, invocation);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return endParsing(app, error, invocation);
    }
    checkStandardOutput(invocation);
    return invocation.exitCode;
}

}  // namespace

int main(int argc, char** argv) {
    Invocation invocation;
    try {
        invocation.json = asksForJson(argc, argv);
        return runCommand(argc, argv, invocation);
    } catch (const std::bad_alloc&) {
        try {
            complain(invocation, "memory exhausted", kExitScriptFailed);  // what the work had is free again
        } catch (const std::bad_alloc&) {
            std::fputs("kestrel: error: memory exhausted\n", stderr);
        }
        return kExitScriptFailed;
    } catch (const std::exception& error) {
        complain(invocation, error.what());
        return kExitUnusable;
    }
}
