// kestrel render FILE: a picture of the preview scene with the script's surface.

#include "cli/commands.h"
#include "cli/module_session.h"
#include "cli/output_file.h"
#include "cli/progress_bar.h"
#include "cli/sample_grid.h"
#include "platform/terminal.h"
#include "preview/render/renderer.h"

#include <CLI/CLI.hpp>
#include <memory>

namespace kestrel::cli {

namespace {

struct RenderCommand {
    ModuleOptions module;
    std::string output;
    GridSize size{512, 512};
    std::int32_t samples = 16;
};

/// @return nothing when the script failed on the way: a picture of half a script is no picture
std::optional<preview::Image> renderPicture(const RenderCommand& options, ModuleSession& session, bool json) {
    ProgressBar bar(!json && platform::isTerminal(platform::Stream::Error));
    session.setBeforeMessage([&bar] { bar.clear(); });
    preview::RenderOptions picture;
    picture.width = options.size.width;
    picture.height = options.size.height;
    picture.samples = options.samples;
    std::optional<preview::Image> image =
        preview::render(session.pose(), session.shading(), picture, [&](double done) {
            bar.update(done);
            return !session.failed();
        });
    bar.clear();
    session.setBeforeMessage({});
    return image;
}

void renderScript(const RenderCommand& options, Invocation& invocation) {
    prepareForPrograms(invocation, options.output == "-");
    ModuleSession session(options.module, invocation,
                          preview::makePreviewScene(preview::PreviewShape::Sphere));
    if (!session.setPicture(options.output)) return;
    SceneInfo& info = session.services().sceneInfo();
    info.frameWidth = options.size.width;
    info.frameHeight = options.size.height;
    info.minSamplesPerPixel = info.maxSamplesPerPixel = options.samples;
    info.frameStart = info.frameEnd = options.module.frame;

    if (!session.open() || !session.load() || !session.begin()) return;
    const std::optional<preview::Image> image = renderPicture(options, session, invocation.json);
    const bool fine = session.end();
    if (!fine || !image) return;
    if (!writeOutput(options.output, preview::encodePng(*image))) invocation.exitCode = kExitUnusable;
}

}  // namespace

void addRenderCommand(CLI::App& app, Invocation& invocation) {
    CLI::App* command = app.add_subcommand(
        "render", "Renders a sphere in a studio, its surface shaded by a script in the module");
    const auto options = std::make_shared<RenderCommand>();
    addModuleOptions(*command, options->module, invocation);
    command
        ->add_option("-o,--output", options->output, "The picture, a PNG file (sRGB); - is standard output")
        ->required()
        ->type_name("PICTURE.png");
    addSizeOption(*command, "--size", options->size, "Width and height in pixels");
    command->add_option("--samples", options->samples, "Samples per pixel")
        ->check(CLI::Range(1, 4096))
        ->capture_default_str();
    addFrameOptions(*command, options->module);
    command->footer(
        "The script loads as with a scene; then init, newtime, flags, process for each sample, cleanup and "
        "destroy\n"
        "run. Only the values that flags() names are used; all of them when it names none. The picture is "
        "written\n"
        "only if the script did not fail. Items of the scene: Sphere, Ground, Key, Rim, Camera. "
        "KESTREL_MODULE "
        "names another\n"
        "module than the kestrel-pt.so beside the command.");
    command->callback([options, &invocation] { renderScript(*options, invocation); });
}

}  // namespace kestrel::cli
