// kestrel render FILE: pictures of a scene, or of a script on a shape, shaded by scripts in the module.

#include "cli/commands.h"
#include "cli/frame_output.h"
#include "cli/frames.h"
#include "cli/module_session.h"
#include "cli/render_frames.h"
#include "cli/render_probe.h"
#include "cli/sample_grid.h"
#include "cli/scene_choice.h"
#include "cli/text_script.h"
#include "platform/workers.h"

#include <CLI/CLI.hpp>
#include <array>
#include <charconv>
#include <memory>

namespace kestrel::cli {

namespace {

struct RenderCommand {
    ModuleOptions module;
    SceneChoice scene;
    RenderTask task;
    GridSize size;
    std::int32_t samples = 0;
    std::string frames;
    std::string region;
    std::string pixel;
    bool debugNan = false;
    CLI::Option* frameOption = nullptr;
};

/// Reads as many whole numbers as `numbers` takes, with commas between.
bool readNumbers(const std::string& text, std::span<std::int32_t> numbers) {
    const char* place = text.data();
    const char* const end = text.data() + text.size();
    for (std::int32_t& number : numbers) {
        if (&number != numbers.data() && (place == end || *place++ != ',')) return false;
        const auto [after, error] = std::from_chars(place, end, number);
        if (error != std::errc()) return false;
        place = after;
    }
    return place == end;
}

/// What the command line says of the picture goes into the scene, where scripts can ask for it.
void applySettings(const RenderCommand& options, preview::SceneSettings& settings) {
    if (options.size.width > 0) {
        settings.width = options.size.width;
        settings.height = options.size.height;
    }
    if (options.samples > 0) settings.minSamples = settings.maxSamples = options.samples;
}

bool applyRegion(const RenderCommand& options, preview::SceneSettings& settings) {
    if (options.region.empty()) return true;
    std::array<std::int32_t, 4> numbers{};
    if (!readNumbers(options.region, numbers)) return false;
    const auto [x, y, width, height] = numbers;
    const bool inside = x >= 0 && y >= 0 && width > 0 && height > 0 && x < settings.width &&
                        y < settings.height && width <= settings.width - x && height <= settings.height - y;
    if (inside) settings.limitedRegion = {x, y, x + width, y + height};
    return inside;
}

bool applyFrames(const RenderCommand& options, preview::SceneSettings& settings, FrameRange& range) {
    if (!options.frames.empty()) {
        const std::optional<FrameRange> given = parseFrames(options.frames);
        if (!given) return false;
        range = *given;
    } else {
        range.first = range.last =
            options.frameOption->count() > 0 ? options.module.frame : settings.frameStart;
    }
    settings.frameStart = range.first;
    settings.frameEnd = range.last;
    settings.frameStep = range.step;
    return true;
}

/// @return nothing after telling what is wrong with the command line
std::optional<preview::Scene> preparedScene(const RenderCommand& options, RenderTask& task,
                                            Invocation& invocation) {
    std::optional<preview::Scene> scene = sceneToRender(options.module.file, options.scene, invocation);
    if (!scene) return std::nullopt;
    const auto refuse = [&](const std::string& problem) -> std::optional<preview::Scene> {
        complain(invocation, problem);
        return std::nullopt;
    };
    preview::SceneSettings& settings = scene->settings;
    applySettings(options, settings);
    if (!applyRegion(options, settings))
        return refuse("--region " + options.region + ": write X,Y,W,H in pixels; the picture is " +
                      std::to_string(settings.width) + "x" + std::to_string(settings.height));
    if (!applyFrames(options, settings, task.frames))
        return refuse("--frames " + options.frames + ": write A, A-B or A-B:STEP, at most a million frames");
    if (task.frames.count() > 1 && options.module.time)
        return refuse("--time is the time of one frame, and --frames asks for several");
    return scene;
}

std::vector<std::string> inputsOf(const RenderCommand& options, const preview::Scene& scene) {
    std::vector<std::string> files{options.module.file, options.scene.shape, scene.environment.filename};
    for (const preview::SurfaceEntry& surface : scene.surfaces) files.push_back(surface.script);
    for (const preview::MeshItem& mesh : scene.meshes) files.push_back(mesh.filename);
    files.insert(files.end(), options.module.states.begin(), options.module.states.end());
    return files;
}

void renderScript(const RenderCommand& options, Invocation& invocation) {
    prepareForPrograms(invocation, options.task.picture.output == "-");
    RenderTask task = options.task;
    std::string problem;
    std::optional<preview::Scene> scene = preparedScene(options, task, invocation);
    if (!scene) return;
    const bool looks = options.debugNan || !options.pixel.empty();
    if (!looks && task.picture.output.empty()) problem = "render needs -o PICTURE, the file to write";
    if (!looks && (!problem.empty() || !checkOutput(task, inputsOf(options, *scene), problem)))
        return complain(invocation, problem);
    ModuleSession session(options.module, std::move(*scene), invocation);
    if (!session.setPicture(task.picture.output)) return;
    std::array<std::int32_t, 2> pixel{};
    const preview::SceneSettings& settings = session.index().scene().settings;
    if (!options.pixel.empty() && (!readNumbers(options.pixel, pixel) || pixel[0] < 0 || pixel[1] < 0 ||
                                   pixel[0] >= settings.width || pixel[1] >= settings.height)) {
        session.complain("--pixel " + options.pixel + ": write X,Y, from 0,0 at the upper left corner",
                         kExitUnusable);
        return;
    }
    if (!checkNames(task, session) || !session.open() || !session.load()) return;
    if (session.debugged()) task.jobs = 1;  // a debugger reaches this process only
    if (!session.begin()) return;
    if (!options.pixel.empty())
        showPixel(session, task, pixel[0], pixel[1], invocation.json);
    else if (options.debugNan)
        findBadNumber(session, task, invocation);
    else
        renderFrames(session, task, invocation);
}

void addWhatIsRendered(CLI::App& command, RenderCommand& options) {
    addSizeOption(command, "--size", options.size,
                  "Width and height in pixels (default: the scene's, or 512x512)");
    command.add_option("--samples", options.samples, "Samples per pixel (default: the scene's, or 16)")
        ->check(CLI::Range(1, 65536).description(""));
    addFrameOptions(command, options.module);
    options.frameOption = command.get_option("--frame");
    command
        .add_option(
            "--frames", options.frames,
            "Frames to render, each with its newtime; the output needs a place for the number, such as "
            "out.%04d.png")
        ->type_name("A-B[:STEP]")
        ->excludes(options.frameOption);
    command
        .add_option("--region", options.region,
                    "Renders a part of the picture only, which is all that the file holds then")
        ->type_name("X,Y,W,H");
    command.add_flag("--depth-of-field", options.task.depthOfField,
                     "What is out of the camera's focus becomes blurred, by its f-stop");
}

void addHow(CLI::App& command, RenderCommand& options) {
    command
        .add_option(
            "--jobs", options.task.jobs,
            "Worker processes, each with a module of its own; 1: none beside this process, so scripts keep "
            "what they remember from one picture to the next")
        ->check(CLI::Range(1, 256).description(""))
        ->default_str("all processors");
    command.add_flag("--skip-existing", options.task.skipExisting,
                     "Leaves out frames whose file is there already, for work that goes on");
    command.add_flag("--keep-partial", options.task.keepPartial,
                     "When Ctrl-C or the time limit ends the work, writes the picture as far as it is");
    command
        .add_option("--pixel", options.pixel,
                    "Instead of a picture: what scripts saw and set in the middle of that pixel, one surface "
                    "after the other")
        ->type_name("X,Y");
    command.add_flag(
        "--debug-nan", options.debugNan,
        "Instead of a picture: the first pixel and line where a script wrote a number that is none (NaN), "
        "or an infinite one");
}

}  // namespace

void addRenderCommand(CLI::App& app, Invocation& invocation) {
    CLI::App* command = app.add_subcommand(
        "render", "Renders a scene whose surfaces are shaded by scripts, or a script on a shape in a studio");
    const auto options = std::make_shared<RenderCommand>();
    options->task.jobs = platform::processorCount();
    addModuleOptions(*command, options->module, invocation,
                     "A script, or a scene: JSON (see docs/scenes.md), glTF (.gltf, .glb) or OBJ");
    addParamOption(*command, invocation);
    addExecutorOption(*command);
    addPictureOptions(*command, options->task.picture);
    addPictureSceneOptions(*command, options->scene);
    addWhatIsRendered(*command, *options);
    addHow(*command, *options);
    addStateOption(*command, options->module);
    command->footer(
        "Scripts load as with a scene; then init, for each frame newtime and flags, process for each sample, "
        "and at\n"
        "the end cleanup and destroy run. Only the values that flags() names are used; all of them when it "
        "names\n"
        "none. A picture is written only if no script failed. Items around a script: Ball (or the shape's "
        "name),\n"
        "Ground, Key, Rim, Camera. With --messages=json each finished frame is an object of the kind "
        "\"frame\", and\n"
        "a last one of the kind \"statistics\" tells what was done. KESTREL_MODULE names another module than "
        "the\n"
        "kestrel-pt.so beside the command.");
    command->callback([options, &invocation] {
        if (takeStandardInput(options->module.file, invocation)) renderScript(*options, invocation);
    });
}

}  // namespace kestrel::cli
