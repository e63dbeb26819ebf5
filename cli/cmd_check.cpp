// kestrel check FILE...: compiles scripts and checks them, and tells what is wrong where.

#include "cli/commands.h"
#include "cli/message_printer.h"
#include "host/script_session.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

namespace kestrel::cli {

namespace {

bool checkFile(const std::string& file, const Invocation& invocation) {
    MessagePrinter printer(invocation.json, file);
    ScriptSession session(printer);
    CompileOptions options;
    options.reportEndless = true;
    options.declareOnly = true;
    session.context().reporter.hints = &printer;
    const bool good = session.compile(file, options) && session.check();
    printer.finish();
    return good;
}

}  // namespace

void addCheckCommand(CLI::App& app, Invocation& invocation) {
    CLI::App* command = app.add_subcommand(
        "check", "Compiles scripts without running them and shows what is wrong, with file, line and column");
    const auto files = std::make_shared<std::vector<std::string>>();
    command->add_option("FILE", *files, "Scripts to check")->required()->type_name("");
    addMessagesOption(*command, invocation);
    command->callback([files, &invocation] {
        for (const std::string& file : *files) {
            if (!requireReadable(file, invocation)) continue;
            if (!checkFile(file, invocation)) {
                invocation.exitCode = std::max<int>(invocation.exitCode, kExitScriptFailed);
            }
        }
    });
}

}  // namespace kestrel::cli
