// The scene of the preview: what is rendered, and what scripts see of it through the scene services.
#pragma once

#include "host/host_interface.h"
#include "preview/math/vec.h"

#include <string>
#include <vector>

namespace kestrel::preview {

/// What every item of a scene has: who it is and where it stands.
struct PlacedItem {
    HostItemID id = 0;
    std::int32_t type = HX_MESH;  ///< HxItemType
    std::string name;
    Vec3 position;
    Axes axes;
    HostItemID target = 0;  ///< the item it looks at, 0 = none
};

struct MeshItem {
    enum class Shape { Sphere, Ground };
    PlacedItem item;
    Shape shape = Shape::Sphere;
    double size = 1.0;      ///< the sphere's radius; half the side of the ground
    bool scripted = false;  ///< its surface is the script's
    std::string filename;
    std::int32_t rings = 1;     ///< the grid in which polygons are counted: from pole to pole,
    std::int32_t segments = 1;  ///< and around

    [[nodiscard]] std::int32_t polygonCount() const { return rings * segments; }
    [[nodiscard]] std::int32_t pointCount() const;
};

/// A point light with a soft edge; its intensity does not fall off with distance.
struct LightItem {
    PlacedItem item;
    Vec3 color;           ///< linear RGB intensity
    double radius = 0.0;  ///< of the disc that casts soft shadows
};

struct CameraItem {
    PlacedItem item;
    double verticalFov = 0.5;  ///< radians
    double focalDistance = 5.0;
    double focalLength = 50.0;  ///< millimetres
    double fStop = 8.0;
};

/// A soft sky: a gradient with the glow of the key light, so that mirrors and glass have something to show.
struct Sky {
    Vec3 horizon;
    Vec3 zenith;
    Vec3 bounce;  ///< light that comes up from the ground
    Vec3 glow;
    Vec3 glowDirection;  ///< unit vector towards it

    /// @param direction  unit vector
    [[nodiscard]] Vec3 color(const Vec3& direction) const;
    /// Light from all around on a surface with that normal.
    [[nodiscard]] Vec3 ambient(const Vec3& normal) const;
};

struct Scene {
    std::string name;
    std::string filename;
    std::vector<MeshItem> meshes;
    std::vector<LightItem> lights;
    CameraItem camera;
    Sky sky;
    Vec3 ambient;  ///< the even part of the sky's light, as the light service tells it

    [[nodiscard]] const PlacedItem* item(HostItemID id) const;
    [[nodiscard]] const MeshItem* mesh(HostItemID id) const;
    [[nodiscard]] const LightItem* light(HostItemID id) const;
    /// Items of one type in order; null after the last.
    [[nodiscard]] const PlacedItem* itemAt(std::int32_t type, std::size_t index) const;
};

/// The built-in scene: a unit sphere, which the script shades, on a ground under a warm key light and a cool
/// rim light.
[[nodiscard]] Scene makeSphereScene();

}  // namespace kestrel::preview
