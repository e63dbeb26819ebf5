// One frame after the other, each into its file.
#pragma once

#include "cli/frame_output.h"
#include "cli/frames.h"
#include "cli/module_session.h"
#include "preview/render/renderer.h"

#include <string>
#include <vector>

namespace kestrel::cli {

struct RenderTask {
    PictureOptions picture;
    FrameRange frames;
    int jobs = 1;
    bool skipExisting = false;
    bool keepPartial = false;
    bool depthOfField = false;
};

/// Whether the name of the output can be used at all: its form, its ending, its directory, and that it is
/// none of the files that the picture is made from.
/// @param problem  receives a plain sentence when not
[[nodiscard]] bool checkOutput(const RenderTask& task, const std::vector<std::string>& inputs,
                               std::string& problem);
/// Whether every frame has a name of its own; says so when not.
[[nodiscard]] bool checkNames(const RenderTask& task, ModuleSession& session);

/// How the scene's settings and the command line want it.
[[nodiscard]] preview::RenderOptions renderOptions(const preview::SceneSettings& settings,
                                                   const RenderTask& task);

/// Renders all frames and ends the session. A frame that failed is the last one.
void renderFrames(ModuleSession& session, const RenderTask& task, Invocation& invocation);

}  // namespace kestrel::cli
