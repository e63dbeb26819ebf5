// The scenes that need no file.
#pragma once

#include "preview/scene/scene.h"

namespace kestrel::preview {

/// A unit sphere, which the script shades, on a ground under a warm key light and a cool rim light. Surface 0
/// is the sphere's, surface 1 the ground's.
[[nodiscard]] Scene makeSphereScene();

enum class PreviewShape {
    Ball,    ///< with edges, a hollow and a plane (makeBall())
    Sphere,  ///< an exact one
    Cube,
    Plane
};

/// A photographer's studio with an object to show: a backdrop without a seam, two softboxes as lights and
/// more of them for reflections. Surface 0 is the object's, which the script shades, surface 1 the
/// backdrop's. The items have the numbers of makeSphereScene(); the object bears the name of its shape.
[[nodiscard]] Scene makePreviewScene(PreviewShape shape);
/// The same with a mesh: as large as the other shapes, standing on the floor.
/// @param geometry  not empty; all its surfaces count as surface 0
[[nodiscard]] Scene makePreviewScene(std::shared_ptr<const Geometry> geometry, const std::string& name);

}  // namespace kestrel::preview
