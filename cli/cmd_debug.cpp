// kestrel debug: looks into a running script, line by line.

#include "cli/commands.h"
#include "cli/dap/server.h"
#include "cli/debugger/debuggee.h"
#include "cli/debugger/terminal.h"
#include "platform/environment.h"
#include "platform/terminal.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace kestrel::cli {

namespace {

struct DebugCommand {
    std::vector<std::string> words;  ///< the link; with --run options for the command that runs the script
    std::string script;              ///< --run
    std::string as;
    std::string commands;  ///< --script
    bool dap = false;
    double wait = 10.0;
};

std::unique_ptr<Debuggee> debuggeeOf(const DebugCommand& options, const Interrupt& interrupt,
                                     Invocation& invocation) {
    std::string problem;
    if (options.script.empty()) {
        const auto longest = std::chrono::milliseconds(static_cast<std::int64_t>(options.wait * 1000));
        std::unique_ptr<Debuggee> debuggee =
            Debuggee::attach(options.words.front(), longest, interrupt.flag(), problem);
        if (debuggee == nullptr) complain(invocation, problem);
        return debuggee;
    }
    std::optional<int> status;
    const Launch launch{options.script, options.as, options.words, invocation.json};
    std::unique_ptr<Debuggee> debuggee = Debuggee::start(launch, interrupt.flag(), problem, status);
    if (debuggee != nullptr) return debuggee;
    if (!status)
        complain(invocation, problem);
    else if (*status == kExitSuccess)
        complain(invocation, "the command ended before it ran anything of the script");
    else
        invocation.exitCode = *status == kExitUnusable ? kExitUnusable : kExitScriptFailed;
    return nullptr;
}

std::unique_ptr<LineSource> linesOf(const DebugCommand& options, Terminal*& terminal) {
    if (!options.commands.empty()) return scriptLines(options.commands);
    if (!platform::isTerminal(platform::Stream::Input) || !platform::isTerminal(platform::Stream::Output))
        return plainLines();
    return editedLines("(kestrel) ",
                       [&terminal](std::string_view begun) { return terminal->completions(begun); });
}

void debugScript(const DebugCommand& options, Invocation& invocation) {
    if (!options.script.empty() && !requireReadable(options.script, invocation)) return;
    Terminal* terminal = nullptr;
    std::unique_ptr<LineSource> lines = linesOf(options, terminal);
    if (lines == nullptr) return complain(invocation, "--script " + options.commands + ": cannot be read");
    Interrupt interrupt;
    const std::unique_ptr<Debuggee> debuggee = debuggeeOf(options, interrupt, invocation);
    if (debuggee == nullptr) return;
    Terminal session(*debuggee, interrupt, invocation.json);
    terminal = &session;
    invocation.exitCode = session.run(std::move(lines));
}

}  // namespace

void addDebugCommand(CLI::App& app, Invocation& invocation) {
    CLI::App* command =
        app.add_subcommand("debug", "Pauses a script at its lines, shows and changes its variables");
    const auto options = std::make_shared<DebugCommand>();
    command
        ->add_option(
            "LINK", options->words,
            "The name that the script's debug pragma gives. With --run and behind --: options of the command "
            "that runs the script")
        ->type_name("");
    CLI::Option* run = command
                           ->add_option("--run", options->script,
                                        "Starts this script instead of attaching to one, and debugs it")
                           ->type_name("FILE");
    command
        ->add_option("--as", options->as,
                     "With --run: the command that runs it (default: run when it has a main, else shade)")
        ->check(CLI::IsMember({"run", "shade", "render"}).description(""))
        ->type_name("run|shade|render")
        ->needs(run);
    command
        ->add_option(
            "--script", options->commands,
            "Carries out the commands of this file, one in a line; where there is no such file, the text "
            "itself is commands with ; between them")
        ->expected(1)
        ->type_name("COMMANDS");
    command->add_option("--wait", options->wait, "With LINK: how long to wait for the script to appear")
        ->check(numberIn(0.0, 1e6, "seconds"))
        ->type_name("SECONDS")
        ->capture_default_str();
    command
        ->add_flag(
            "--dap", options->dap,
            "Serves an editor on standard input and output by the Debug Adapter Protocol; what to debug is "
            "said there")
        ->excludes(run);
    addMessagesOption(*command, invocation);
    command->footer(
        "Commands:\n" + Terminal::help() +
        "With --script or a pipe, the first command that fails ends the session with status 2: a script that "
        "was started\nends, any other is left to itself. Otherwise the status of a script that was started "
        "is the status;\n0 after terminate. docs/debugging.md tells more.");
    command->callback([options, &invocation] {
        if (options->dap && !options->words.empty())
            return complain(invocation, "--dap takes no LINK: the editor says what to debug");
        if (options->dap) {
            invocation.exitCode = dap::Server().run();
            return;
        }
        if (options->script.empty() && options->words.size() != 1)
            return complain(invocation, "debug needs the LINK of a script, or --run FILE");
        debugScript(*options, invocation);
    });
}

}  // namespace kestrel::cli
