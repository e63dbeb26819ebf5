// kestrel list FILE: the compiled code of a script, one instruction per line.

#include "cli/commands.h"
#include "cli/message_printer.h"
#include "cli/output_file.h"
#include "cli/run_guard.h"
#include "cli/text_script.h"
#include "frontend/listing.h"
#include "host/script_session.h"

#include <CLI/CLI.hpp>
#include <array>
#include <memory>
#include <span>

namespace kestrel::cli {

namespace {

struct ListOptions {
    std::string file;
    std::string output = "-";
    bool fast = false;
};

/// @return false after telling why the listing cannot be written
bool mayWrite(const ListOptions& options, std::span<const std::string> inputs, Invocation& invocation) {
    const std::string problem = outputProblem(options.output, {.inputs = inputs});
    if (!problem.empty()) complain(invocation, problem);
    return problem.empty();
}

int list(const ListOptions& options, Invocation& invocation) {
    if (!mayWrite(options, std::array{options.file}, invocation)) return kExitUnusable;
    MessagePrinter printer(invocation.json, options.file);
    printer.setTextScript(invocation.textScript);
    RunWatch watch;
    ScriptSession session(printer, &watch);
    const RunGuard guard(watch.requested, invocation.timeout);
    CompileOptions compileOptions;
    compileOptions.reportEndless = true;
    compileOptions.declareOnly = !options.fast;  // what is told of the shading, only a run shows
    bool good = session.compile(options.file, compileOptions);
    const bool nothing = good && session.context().program->code.head == nullptr;
    if (nothing) good = session.check();  // what is missing says more than an empty listing
    std::string report;
    if (options.fast) {
        good = good && session.check() && !session.prepare();
        if (good) report = session.shadingReport();
    }
    if (guard.triggered())
        printer.plainError(guard.reason() + ", list ended",
                           {options.file, session.context().run.currentLine, 0, 0, {}});
    printer.finish();
    if (!good || guard.triggered()) return kExitScriptFailed;
    std::vector<std::string> sources;  // inserts and libraries, too
    for (const SourceFile& source : session.context().program->files) sources.push_back(source.path);
    if (!mayWrite(options, sources, invocation)) return kExitUnusable;
    const std::string listing = options.fast ? report : listProgram(*session.context().program);
    if (!writeOutput(options.output, listing, invocation)) return kExitUnusable;
    if (options.output != "-") tellWritten({.name = options.output, .bytes = listing.size()}, invocation);
    return kExitSuccess;
}

}  // namespace

void addListCommand(CLI::App& app, Invocation& invocation) {
    CLI::App* command =
        app.add_subcommand("list",
                           "Shows a script's compiled code, one instruction per line;\n"
                           "four fields with tabs between: index, source line, opcode, operand. Hints are\n"
                           "given by `kestrel check`");
    const auto options = std::make_shared<ListOptions>();
    command->add_option("FILE", options->file, "The script; - is standard input")->required()->type_name("");
    command->add_option("-o,--output", options->output, "File to write the listing to, - for standard output")
        ->type_name("FILE")
        ->capture_default_str();
    command->add_flag("--fast", options->fast,
                      "Tells instead how samples are shaded: what is left to the interpreter\n"
                      "and why, and the code that is made for the rest. Runs init and a sample");
    addMessagesOption(*command, invocation);
    addTimeoutOption(*command, invocation);
    addSearchOption(*command);
    command->callback([options, &invocation] {
        if (takeStandardInput(options->file, invocation) && requireReadable(options->file, invocation))
            invocation.exitCode = list(*options, invocation);
    });
}

}  // namespace kestrel::cli
