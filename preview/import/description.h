// Scene descriptions: JSON files of our own, which docs/scenes.md explains and docs/scene.schema.json
// describes.
#pragma once

#include "preview/scene/scene.h"

#include <string>

namespace kestrel::preview {

/// Reads a description with all mesh files that it names, complete with camera and sky. Throws ImportError.
[[nodiscard]] Scene readDescription(const std::string& nativePath);

}  // namespace kestrel::preview
