// Materials of Wavefront OBJ files.
#pragma once

#include "preview/scene/scene.h"

#include <string>
#include <string_view>
#include <vector>

namespace kestrel::preview {

/// The materials of an MTL text, by name. Textures are left out: scripts do their work.
/// @param file  for messages and for the scripts that lines "kestrel SCRIPT.ks" name
[[nodiscard]] std::vector<SurfaceEntry> readMtl(const std::string& file, std::string_view text);

}  // namespace kestrel::preview
