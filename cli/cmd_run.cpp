// kestrel run FILE: loads a script and runs its main program.

#include "cli/commands.h"
#include "cli/message_printer.h"
#include "cli/run_guard.h"
#include "host/script_session.h"
#include "platform/environment.h"

#include <CLI/CLI.hpp>
#include <memory>

namespace kestrel::cli {

namespace {

/// Where the run was ended: the instruction's own place when it is known, else the line that messages would
/// print.
Place stoppedAt(const EngineContext& context, const RunWatch& watch, const std::string& file) {
    const CodeNode* node = context.run.node;
    if (node != nullptr && node->pos.known() && node->line == watch.line) {
        Place place = resolvePlace(node->pos, context.program->files);
        if (place.known()) return place;
    }
    Place place;
    place.file = file;
    place.line = watch.line > 0 ? watch.line : context.run.currentLine;
    return place;
}

/// Compiles, runs and unloads a script, until something fails or ends it.
/// @return the exit status, as far as the script decides it
int runGuarded(ScriptSession& session, const std::string& file, const RunGuard& guard,
               MessagePrinter& printer) {
    CompileOptions options;
    options.reportUnterminatedComment = true;
    if (!session.compile(file, options) || guard.triggered()) return kExitScriptFailed;
    bool aborted = session.prepare();
    if (guard.triggered()) return kExitScriptFailed;
    if (session.context().program->findFunction("main") != nullptr) {
        aborted = session.runMain();
    } else if (!aborted) {
        printer.hint("no-main",
                     "the script has no function \"main\"; only its code outside functions has run");
    }
    if (!guard.triggered()) session.unload();
    return aborted ? kExitScriptFailed : kExitSuccess;
}

int run(const std::string& file, const Invocation& invocation) {
    // Built-ins that start other programs ask for the command processor by this name.
    if (!platform::environment("COMSPEC")) platform::setEnvironment("COMSPEC", "/bin/sh");

    MessagePrinter printer(invocation.json, file);
    RunWatch watch;
    ScriptSession session(printer, &watch);
    printer.setContext(&session.context());
    const int status = [&] {
        RunGuard guard(watch.requested, invocation.timeout);
        const int outcome = runGuarded(session, file, guard, printer);
        // A limit that was reached when everything had run already ended nothing.
        if (!guard.triggered() || (outcome == kExitSuccess && watch.line == 0)) return outcome;
        const Place place = stoppedAt(session.context(), watch, file);
        printer.plainError("line " + std::to_string(place.line) + ", " + guard.reason() + ", run ended",
                           place);
        return static_cast<int>(kExitScriptFailed);
    }();
    printer.finish();
    printer.setContext(nullptr);
    return status;
}

}  // namespace

void addRunCommand(CLI::App& app, Invocation& invocation) {
    CLI::App* command = app.add_subcommand(
        "run", "Loads a script, runs its code outside functions and then its function \"main\"");
    const auto file = std::make_shared<std::string>();
    command->add_option("FILE", *file, "The script")->required()->type_name("");
    addMessagesOption(*command, invocation);
    addTimeoutOption(*command, invocation);
    command->callback([file, &invocation] {
        if (requireReadable(*file, invocation)) invocation.exitCode = run(*file, invocation);
    });
}

}  // namespace kestrel::cli
