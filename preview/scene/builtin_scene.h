// The scene that needs no file.
#pragma once

#include "preview/scene/scene.h"

namespace kestrel::preview {

/// A unit sphere, which the script shades, on a ground under a warm key light and a cool rim light. Surface 0
/// is the sphere's, surface 1 the ground's.
[[nodiscard]] Scene makeSphereScene();

}  // namespace kestrel::preview
