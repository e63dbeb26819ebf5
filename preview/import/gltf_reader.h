// Scenes from glTF 2 files, text or binary.
#pragma once

#include "preview/import/scene_parts.h"

#include <string>

namespace kestrel::preview {

/// The default scene of a file, turned from its right-handed space into ours: nodes with what they hold,
/// materials as surfaces (one whose `extras` have "kestrel": "wood.ks" is shaded by that script beside the
/// file), skins as bones, the motion of nodes, cameras, lights. Textures and morph targets are left out.
/// Throws ImportError.
[[nodiscard]] Scene readGltf(const std::string& nativePath, Budget& budget);

}  // namespace kestrel::preview
