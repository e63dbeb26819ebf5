// Which scene a command works with.
#pragma once

#include "cli/commands.h"
#include "preview/scene/scene.h"

#include <optional>
#include <string>
#include <vector>

namespace kestrel::cli {

struct SceneChoice {
    std::string scene;                  ///< --scene: a scene file around a script
    std::string shape = "ball";         ///< --shape: what a script is shown on: a name or a mesh file
    std::string environment;            ///< --env: a picture of the light from all around
    std::vector<std::string> surfaces;  ///< --surface: NAME=FILE.ks
};

/// Adds `--scene`.
void addSceneOption(CLI::App& command, SceneChoice& choice);
/// Adds `--shape`, `--env` and `--surface`.
void addPictureSceneOptions(CLI::App& command, SceneChoice& choice);

/// Reads a scene file.
/// @return nothing after telling what is wrong
[[nodiscard]] std::optional<preview::Scene> readSceneFile(const std::string& file, Invocation& invocation);

/// The scene to render: the file's own when it is a scene; else a shape with the file as the script of its
/// surface.
/// @return nothing after telling what is wrong
[[nodiscard]] std::optional<preview::Scene> sceneToRender(const std::string& file, const SceneChoice& choice,
                                                          Invocation& invocation);

/// The scene that a script meets outside pictures: that of `--scene`, else the sphere on its ground. The
/// script is that of the scene's first surface, or of a surface that nothing wears; all others are plain.
/// @return as sceneToRender()
[[nodiscard]] std::optional<preview::Scene> sceneAround(const std::string& script, const SceneChoice& choice,
                                                        Invocation& invocation);

}  // namespace kestrel::cli
