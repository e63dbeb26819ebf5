// The services about the scene: items, meshes, bones, lights, cameras and images, as the module calls them.
#pragma once

#include "host/host_interface.h"
#include "preview/scene/scene.h"

#include <string_view>

namespace kestrel::preview {

/// The record of one of these services by its name; null for any other name. Their functions answer for the
/// current services (see current_services.h). Numbers that are no item's are answered with 0 and nulls.
[[nodiscard]] void* sceneService(std::string_view name);

/// What scripts learn of a scene as a whole. The texts are the scene's.
[[nodiscard]] SceneInfo sceneInfoOf(const Scene& scene);

}  // namespace kestrel::preview
