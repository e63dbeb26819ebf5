// A mesh file as a single mesh.
#pragma once

#include "preview/import/scene_parts.h"

#include <string>
#include <vector>

namespace kestrel::preview {

/// All meshes of a file in one, as they stand at its first frame, with what scene descriptions need to give
/// it surfaces and bones.
struct MeshFile {
    Geometry geometry;  ///< its surfaceOf refers to `surfaces`, its influences to `bones`
    std::vector<SurfaceEntry> surfaces;
    std::vector<std::string> bones;  ///< names
    std::int32_t points = 0;
    std::int32_t polygons = 0;
};

/// @param wantsBones  false: the mesh is bent as its bones stand at the first frame, and has none afterwards
[[nodiscard]] MeshFile readMeshFile(const std::string& nativePath, bool wantsBones, Budget& budget);

}  // namespace kestrel::preview
