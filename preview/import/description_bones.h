// Bones of scene descriptions.
#pragma once

#include "preview/import/scene_parts.h"

#include <string>
#include <vector>

namespace kestrel::preview {

/// Says for each bone of a mesh how it stood when it was bound, from where its rest motion is relative to its
/// parent, a bone of the same mesh or the mesh. All parents are set and none is its own.
/// @param first, last  the bones of the mesh in Scene::bones
void bindBones(Scene& scene, std::size_t first, std::size_t last);

/// Gives each point of a mesh the bones that move it: those that a file named, where the mesh has them; else
/// those that are near at rest.
/// @param fileBones  the names that the influences of the geometry refer to
void setInfluences(const Scene& scene, const MeshItem& mesh, std::size_t firstBone,
                   const std::vector<std::string>& fileBones, Geometry& geometry);

}  // namespace kestrel::preview
