// Scenes from files.
#pragma once

#include "preview/scene/scene.h"

#include <optional>
#include <string>

namespace kestrel::preview {

/// Reads a scene: a description (.json, see docs/scenes.md), or what another program has written as glTF
/// (.gltf, .glb) or OBJ (.obj). Every scene comes with a camera; one that says nothing of lights gets a key
/// light, one that says nothing of the sky an even one.
/// @param error  receives "FILE:PLACE: what is wrong" when there is no scene
[[nodiscard]] std::optional<Scene> readScene(const std::string& nativePath, std::string& error);

/// True for a file whose extension readScene() knows.
[[nodiscard]] bool isSceneFile(const std::string& nativePath);

}  // namespace kestrel::preview
