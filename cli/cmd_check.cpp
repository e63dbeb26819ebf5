// kestrel check FILE...: compiles scripts and checks them, and tells what is wrong where.

#include "cli/commands.h"
#include "cli/message_printer.h"
#include "cli/run_guard.h"
#include "cli/text_script.h"
#include "host/script_session.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

namespace kestrel::cli {

namespace {

bool checkFile(const std::string& file, const Invocation& invocation, RunWatch& watch,
               const RunGuard& guard) {
    MessagePrinter printer(invocation.json, file);
    printer.setTextScript(invocation.textScript);
    ScriptSession session(printer, &watch);
    CompileOptions options;
    options.reportEndless = true;
    options.declareOnly = true;
    session.context().reporter.hints = &printer;
    const bool good = session.compile(file, options) && session.check();
    if (guard.triggered())
        printer.plainError(guard.reason() + ", check ended",
                           {file, session.context().run.currentLine, 0, 0, {}});
    printer.finish();
    return good && !guard.triggered();
}

}  // namespace

void addCheckCommand(CLI::App& app, Invocation& invocation) {
    CLI::App* command = app.add_subcommand("check",
                                           "Compiles scripts without running them and shows what is wrong, "
                                           "with file, line and column, and hints\n"
                                           "at what may have been meant");
    const auto files = std::make_shared<std::vector<std::string>>();
    command->add_option("FILE", *files, "Scripts to check; - is standard input")->required()->type_name("");
    addMessagesOption(*command, invocation);
    addTimeoutOption(*command, invocation);
    addSearchOption(*command);
    command->callback([files, &invocation] {
        if (std::ranges::count(*files, kStandardInput) > 1)
            return complain(invocation, "- is standard input, which can be read once");
        // Before anybody watches: reading may wait for whoever writes.
        for (std::string& file : *files)
            if (!takeStandardInput(file, invocation)) return;
        RunWatch watch;
        const RunGuard guard(watch.requested, invocation.timeout);
        for (const std::string& file : *files) {
            if (guard.triggered()) break;
            if (!requireReadable(file, invocation)) continue;
            if (!checkFile(file, invocation, watch, guard)) {
                invocation.exitCode = std::max<int>(invocation.exitCode, kExitScriptFailed);
            }
        }
    });
}

}  // namespace kestrel::cli
