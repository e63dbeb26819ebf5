// kestrel run FILE: loads a script and runs its main program.

#include "cli/commands.h"
#include "cli/message_printer.h"
#include "cli/run_guard.h"
#include "cli/scene_access.h"
#include "cli/text_script.h"
#include "host/script_session.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

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
    place.line = watch.line > 0 ? watch.line.load() : context.run.currentLine;
    return place;
}

/// One run of one script.
class Run {
public:
    /// @param services  of the scene around the script; may be null
    Run(const std::string& file, Invocation& invocation, HostGlobal services)
        : file_(file),
          debugLink_(invocation.debugLink),
          invocation_(invocation),
          printer_(invocation.json, file),
          session_(printer_, &watch_, {}, services),
          guard_(watch_.requested, invocation.timeout) {
        printer_.setTextScript(invocation.textScript);
    }

    /// @return the exit status
    int execute() {
        CompileOptions options;
        options.reportEndless = true;
        session_.context().reporter.hints = &printer_;
        const bool compiled = session_.compile(file_, options) && session_.check();
        if (ended() || !compiled) return kExitScriptFailed;
        if (!takePresets()) return kExitUnusable;

        const std::string& link = session_.context().options.debugName;
        const bool debugged = session_.openDebugLink(debugLink_);
        if (!debugLink_.empty() && !debugged) {
            printer_.plainError("the debugger link cannot be made");
            return kExitUnusable;
        }
        if (debugLink_.empty() && !link.empty())
            printer_.hint(HintId::DebugLink, debugLinkHint(link, debugged));
        bool aborted = session_.prepare();
        if (ended()) return kExitScriptFailed;
        if (session_.context().program->findFunction("main") != nullptr) {
            aborted = session_.runMain();
            if (ended()) return kExitScriptFailed;
        } else if (!aborted) {
            printer_.hint(HintId::NoMain);
        }
        session_.unload();
        return aborted ? kExitScriptFailed : kExitSuccess;
    }

private:
    [[nodiscard]] bool takePresets() {
        if (!checkParams(session_.globals(), invocation_)) return false;
        std::vector<Preset> presets;
        std::string ignored;
        for (const std::string& assignment : invocation_.presets)
            if (std::optional<Preset> preset = parsePreset(assignment, ignored)) presets.push_back(*preset);
        session_.setPresets(std::move(presets));
        return true;
    }

    /// True, after telling so, when the time limit or the user has ended what ran last.
    bool ended() {
        if (!guard_.triggered()) return false;
        const Place place = stoppedAt(session_.context(), watch_, file_);
        printer_.plainError("line " + std::to_string(place.line) + ", " + guard_.reason() + ", run ended",
                            place);
        return true;
    }

    const std::string file_;
    const std::string debugLink_;
    Invocation& invocation_;
    MessagePrinter printer_;
    RunWatch watch_;
    ScriptSession session_;
    RunGuard guard_;
};

struct RunCommand {
    std::string file;
    std::string scene;  ///< empty: there is none
};

void run(const RunCommand& options, Invocation& invocation) {
    prepareForPrograms(invocation, false);
    std::unique_ptr<SceneAccess> scene;
    if (!options.scene.empty()) {
        scene = openScene(options.scene, invocation);
        if (scene == nullptr) return;
    }
    invocation.exitCode =
        Run(options.file, invocation, scene != nullptr ? scene->services() : nullptr).execute();
}

}  // namespace

void addRunCommand(CLI::App& app, Invocation& invocation) {
    CLI::App* command = app.add_subcommand(
        "run",
        "Loads a script, runs its code outside functions and then its function \"main\"\n"
        "when it has one. Every script needs the function \"process\", which is not called\n"
        "here: process: sa { } will do");
    const auto options = std::make_shared<RunCommand>();
    command->add_option("FILE", options->file, "The script; - is standard input")->required()->type_name("");
    addMessagesOption(*command, invocation);
    addTimeoutOption(*command, invocation);
    addSearchOption(*command);
    addParamOption(*command, invocation);
    addExecutorOption(*command);
    addDebugLinkOption(*command, invocation);
    command
        ->add_option(
            "--scene", options->scene,
            "The scene that the script finds: a scene in JSON, a glTF file, or an OBJ file (default: none)")
        ->type_name("SCENE");
    command->callback([options, &invocation] {
        if (takeStandardInput(options->file, invocation) && requireReadable(options->file, invocation))
            run(*options, invocation);
    });
}

}  // namespace kestrel::cli
