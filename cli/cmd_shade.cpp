// kestrel shade FILE: one sample, or a grid of them, through the module.

#include "cli/commands.h"
#include "cli/module_session.h"
#include "cli/output_file.h"
#include "cli/sample_grid.h"
#include "cli/sample_json.h"
#include "cli/scene_choice.h"
#include "cli/text_script.h"
#include "cli/used_items.h"
#include "preview/picture/image.h"
#include "preview/services/sample_members.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <memory>
#include <nlohmann/json.hpp>

namespace kestrel::cli {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::array<std::string_view, 1> kEndings{".png"};

struct ShadeCommand {
    ModuleOptions module;
    SceneChoice scene;
    std::vector<std::string> presets;
    GridSize grid;
    std::string output;
    std::string expression;
    bool usedItems = false;
};

/// @return the sample before any evaluation
std::optional<ShadingSample> presetSample(const ShadeCommand& options, ModuleSession& session) {
    ShadingSample sample{};
    std::string problem;
    for (const std::string& assignment : options.presets) {
        if (preview::setSampleMember(sample, assignment, problem)) continue;
        session.complain("--set " + problem, kExitUnusable);
        return std::nullopt;
    }
    sample.illuminate = preview::PreviewServices::illuminateOperation();
    sample.rayTrace = preview::PreviewServices::rayTraceOperation();
    return sample;
}

/// Evaluates the grid, each sample from the preset one; `sample` is the last one afterwards.
/// @param image  receives the colours; may be null
void shadeGrid(const GridSize& grid, ModuleSession& session, ShadingSample& sample, preview::Image* image) {
    GridSamples samples(grid, sample, 32);
    std::int32_t pixel = 0;
    for (auto chunk = samples.next(); !chunk.empty(); chunk = samples.next()) {
        session.shader().evaluate(chunk);
        sample = chunk.back();
        for (std::size_t i = 0; image != nullptr && i < chunk.size(); ++i, ++pixel)
            image->at(pixel % grid.width, pixel / grid.width) = preview::toVec(chunk[i].color);
        if (!session.running()) return;
    }
}

void writePicture(const ShadeCommand& options, const preview::Image& image, Invocation& invocation) {
    const std::string bytes = preview::encodePng(image);
    if (writeOutput(options.output, bytes, invocation))
        tellWritten({options.output, bytes.size(), options.grid.width, options.grid.height}, invocation);
}

void shadeScript(const ShadeCommand& options, Invocation& invocation) {
    prepareForPrograms(invocation, true);
    if (!options.output.empty()) {
        const std::array inputs{options.module.file, options.scene.scene};
        const std::string problem = outputProblem(
            options.output,
            {.endings = kEndings, .kinds = "shade writes PNG pictures (.png)", .inputs = inputs});
        if (!problem.empty()) return complain(invocation, problem);
    }
    std::optional<preview::Scene> scene = sceneAround(options.module.file, options.scene, invocation);
    if (!scene) return;
    ModuleSession session(options.module, std::move(*scene), invocation);
    if (!session.setPicture(options.output)) return;
    std::optional<ShadingSample> sample = presetSample(options, session);
    const std::int32_t frame = options.module.frame;
    if (!sample || !session.open() || !session.load() || !session.begin() ||
        !session.beginFrame(frame, session.seconds(frame)))
        return;

    std::optional<preview::Image> image;
    if (!options.output.empty()) image.emplace(options.grid.width, options.grid.height);
    if (options.grid.width > 0) {
        shadeGrid(options.grid, session, *sample, image ? &*image : nullptr);
    } else {
        session.shader().evaluate(*sample);
    }
    const bool ended = !session.running();
    Json line;
    line["sample"] = sampleJson(*sample);
    line["flags"] = session.mask();
    line["describe"] = session.shader().describe();
    if (invocation.textScript != nullptr)
        line["describe"] = invocation.textScript->shownDescription(session.shader().describe());
    if (options.usedItems && !ended && !usedItems(session, line["usedItems"])) line.erase("usedItems");
    const bool fine = session.end();
    if (session.errorReported()) invocation.exitCode = std::max<int>(invocation.exitCode, kExitScriptFailed);
    if (ended || !session.running()) return;
    if (fine && image) writePicture(options, *image, invocation);
    const std::string text = line.dump(-1, ' ', false, Json::error_handler_t::replace);
    std::fprintf(options.output == "-" ? stderr : stdout, "%s\n", text.c_str());
}

}  // namespace

void addShadeCommand(CLI::App& app, Invocation& invocation) {
    CLI::App* command = app.add_subcommand(
        "shade", "Evaluates one sample, or a grid, through the module; the values as JSON");
    const auto options = std::make_shared<ShadeCommand>();
    addModuleOptions(*command, options->module, invocation);
    CLI::Option* file = command->get_option("FILE")->required(false);
    command
        ->add_option(
            "--expr", options->expression,
            std::string("In place of FILE: an expression; a number becomes a grey color, a Vector the "
                        "color. It sees ") +
                kExpressionHelp)
        ->excludes(file)
        ->type_name("CODE");
    addParamOption(*command, invocation);
    addExecutorOption(*command);
    command
        ->add_option(
            "--set", options->presets,
            "Presets a member of the sample before the script runs, e.g. color=0.8,0.2,0.1 (others are 0)")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->type_name("MEMBER=V[,V...] ...");
    addFrameOptions(*command, options->module);
    addStateOption(*command, options->module);
    addSceneOption(*command, options->scene);
    CLI::Option* grid =
        addSizeOption(*command, "--grid", options->grid,
                      "Evaluates a grid: u, v in 0..1 at pixel centres in oPos and wPos (z 0), the "
                      "pixel in sx, sy");
    command
        ->add_option(
            "-o,--output", options->output,
            "With --grid: the color member as a PNG file (linear values shown in sRGB); - is standard "
            "output, and what else goes there goes to standard error then")
        ->needs(grid)
        ->type_name("PICTURE.png");
    command->add_flag(
        "--used-items", options->usedItems,
        "The line tells as \"usedItems\" on which items of the scene the surface depends, as the script "
        "says with effectedby(); null when it says nothing");
    command->footer(
        "The script loads as with a scene; then init, newtime, flags, process, cleanup and destroy run. The "
        "last line\n"
        "is {\"sample\":{...},\"flags\":N,\"describe\":\"...\"} with every member of the (last) sample; a "
        "number that\n"
        "is not finite is null. After a failed load there is no such line and the status is 1; it is 1 too "
        "when the\n"
        "script reported an error, whether or not that ended its run.\n"
        "illuminate() and raytrace() are answered by the scene of `kestrel render`, in which the sphere "
        "keeps its\n"
        "plain surface: a unit sphere around (0, 1, 0) with item 257, a ground at y = 0 with item 258, and "
        "the lights\n"
        "513 (key, at (-4.8, 6, -4.2)) and 514 (rim, at (5.2, 3, 2.6)).");
    command->callback([options, command, &invocation] {
        std::string& script = options->module.file;
        if (command->get_option("--expr")->count() > 0)
            script = makeExpressionScript(options->expression, invocation);
        else if (script.empty())
            return complain(invocation, "FILE is required, or --expr CODE");
        if (!script.empty() && takeStandardInput(script, invocation)) shadeScript(*options, invocation);
    });
}

}  // namespace kestrel::cli
