// The meshes of a scene as one.
#pragma once

#include "preview/scene/scene.h"

#include <memory>

namespace kestrel::preview {

/// All triangles of a scene as they stand at its first frame. Which surface each has is lost.
/// @return null when there are none
[[nodiscard]] std::shared_ptr<const Geometry> mergedGeometry(const Scene& scene);

}  // namespace kestrel::preview
