// kestrel options FILE: runs a script's `options` as a host does when its user edits the surface.

#include "cli/commands.h"
#include "cli/module_session.h"
#include "cli/output_file.h"
#include "cli/scene_choice.h"
#include "cli/text_script.h"

#include <CLI/CLI.hpp>
#include <array>
#include <filesystem>
#include <memory>

namespace kestrel::cli {

namespace {

struct OptionsCommand {
    ModuleOptions module;
    SceneChoice scene;
    std::string state;
    std::string mode;
};

/// Settings that are there already are where the user goes on; a file that is not there yet will be made.
void startFrom(OptionsCommand& options) {
    std::error_code error;
    if (!options.state.empty() && std::filesystem::exists(options.state, error))
        options.module.states = {options.state};
}

std::int32_t stateMode(const OptionsCommand& options, const std::optional<preview::InstanceState>& before) {
    if (options.mode == "binary") return HX_STATE_BINARY;
    if (options.mode == "text" || !before) return HX_STATE_TEXT;
    return before->mode;
}

void editSettings(OptionsCommand& options, Invocation& invocation) {
    prepareForPrograms(invocation, false);
    const std::array inputs{options.module.file};
    const std::string problem =
        options.state.empty() ? std::string() : outputProblem(options.state, {.inputs = inputs});
    if (!problem.empty()) return complain(invocation, problem);
    startFrom(options);
    std::optional<preview::Scene> scene = sceneAround(options.module.file, options.scene, invocation);
    if (!scene) return;
    ModuleSession session(options.module, std::move(*scene), invocation);
    if (!session.open() || !session.load()) return;
    session.shader().edit();
    const bool fine = session.running() && !session.failed() && invocation.exitCode == kExitSuccess;
    std::optional<preview::InstanceState> state;
    if (fine && !options.state.empty()) {
        state = session.shader().save(stateMode(options, session.scripts().front().settings));
        if (!state)
            session.complain(options.state + ": the script wrote more than 1 GB of settings", kExitUnusable);
    }
    const bool ended = session.end();
    if (ended && state && writeOutput(options.state, state->bytes, invocation))
        tellWritten({.name = options.state, .bytes = state->bytes.size()}, invocation);
}

}  // namespace

void addOptionsCommand(CLI::App& app, Invocation& invocation) {
    CLI::App* command = app.add_subcommand(
        "options",
        "Runs a script's function \"options\", as a 3D program does when its user edits the surface");
    const auto options = std::make_shared<OptionsCommand>();
    addModuleOptions(*command, options->module, invocation);
    command
        ->add_option(
            "--state", options->state,
            "Where the script's settings are kept: read at the start if the file is there, written at the "
            "end if nothing failed")
        ->type_name("FILE");
    command->add_option("--state-mode", options->mode, "The form of that file (default: as it was, or text)")
        ->check(CLI::IsMember({"text", "binary"}).description(""))
        ->type_name("text|binary");
    addSceneOption(*command, options->scene);
    command->footer(
        "The script loads as with a scene: its create and load run, then options; with --state its save, "
        "whose\n"
        "settings `kestrel render --state` and `kestrel shade --state` give back to its load. A script "
        "without\n"
        "options is said to have no modifiable parameters.");
    command->callback([options, &invocation] {
        if (options->module.file == kStandardInput && !options->state.empty())
            return complain(invocation, "--state: settings name the file of their script, and - has none");
        if (takeStandardInput(options->module.file, invocation)) editSettings(*options, invocation);
    });
}

}  // namespace kestrel::cli
