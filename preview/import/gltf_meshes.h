// Meshes and materials of a glTF file.
#pragma once

#include "preview/import/gltf_file.h"
#include "preview/import/scene_parts.h"

#include <memory>
#include <unordered_map>
#include <vector>

namespace kestrel::preview {

/// A mesh, which several nodes may show.
struct GltfMesh {
    std::shared_ptr<const Geometry> geometry;
    std::vector<std::int32_t> surfaces;
    std::size_t bones = 0;  ///< how many a skin must have for its influences
};

class GltfMeshes {
public:
    /// All outlive it. The surfaces of the scene become those of the file.
    GltfMeshes(const GltfFile& file, Scene& scene, Budget& budget);

    /// Reads a mesh when it is first wanted.
    /// @param reference  the place of a mesh
    [[nodiscard]] const GltfMesh& mesh(const JsonValue& reference);

private:
    void addMaterial(const JsonValue& material);
    [[nodiscard]] std::int32_t surfaceOf(const JsonValue& primitive);

    const GltfFile& file_;
    Scene& scene_;
    Budget& budget_;
    Names surfaceNames_;
    std::int32_t plainSurface_ = -1;  // of primitives without a material
    std::unordered_map<std::int64_t, GltfMesh> meshes_;
};

}  // namespace kestrel::preview
