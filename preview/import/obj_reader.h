// Meshes from Wavefront OBJ files with their MTL materials.
#pragma once

#include "preview/import/scene_parts.h"

#include <string>

namespace kestrel::preview {

/// The meshes and surfaces of a file, turned from its right-handed space into ours. Each object (`o`), or
/// each group (`g`) where there are no objects, is a mesh. A material file that is missing is none. Throws
/// ImportError.
[[nodiscard]] Scene readObj(const std::string& nativePath, Budget& budget);

}  // namespace kestrel::preview
