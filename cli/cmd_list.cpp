// kestrel list FILE: the compiled code of a script, one instruction per line.

#include "cli/commands.h"
#include "cli/message_printer.h"
#include "cli/output_file.h"
#include "frontend/listing.h"
#include "host/script_session.h"

#include <CLI/CLI.hpp>
#include <memory>

namespace kestrel::cli {

namespace {

struct ListOptions {
    std::string file;
    std::string output = "-";
};

int list(const ListOptions& options, const Invocation& invocation) {
    MessagePrinter printer(invocation.json, options.file);
    ScriptSession session(printer);
    CompileOptions compileOptions;
    compileOptions.reportEndless = true;
    compileOptions.declareOnly = true;
    bool good = session.compile(options.file, compileOptions);
    const bool nothing = good && session.context().program->code.head == nullptr;
    if (nothing) good = session.check();  // what is missing says more than an empty listing
    printer.finish();
    if (!good) return kExitScriptFailed;
    return writeOutput(options.output, listProgram(*session.context().program)) ? kExitSuccess
                                                                                : kExitUnusable;
}

}  // namespace

void addListCommand(CLI::App& app, Invocation& invocation) {
    CLI::App* command = app.add_subcommand(
        "list",
        "Shows a script's compiled code, one instruction per line, with tabs between four fields:\n"
        "index, source line, opcode, operand");
    const auto options = std::make_shared<ListOptions>();
    command->add_option("FILE", options->file, "The script")->required()->type_name("");
    command->add_option("-o,--output", options->output, "File to write the listing to, - for standard output")
        ->type_name("FILE")
        ->capture_default_str();
    addMessagesOption(*command, invocation);
    command->callback([options, &invocation] {
        if (requireReadable(options->file, invocation)) invocation.exitCode = list(*options, invocation);
    });
}

}  // namespace kestrel::cli
