// A scene: what is rendered, and what scripts see of it. Everything here is plain data that whoever reads or
// makes a scene fills in, and that nothing changes afterwards; pose.h tells how it looks at a time.
#pragma once

#include "host/host_interface.h"
#include "preview/scene/geometry.h"
#include "preview/scene/sky.h"
#include "preview/scene/surface.h"
#include "preview/scene/track.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace kestrel::preview {

/// Which values a parameter of an item may take. Nothing obeys it but scripts, which can ask.
struct Limits {
    Vec3 min;
    Vec3 max;
    std::uint32_t unlimited = 7;  ///< bit i: component i has none
};

/// What every item of a scene has.
struct Item {
    HostItemID id = 0;            ///< never 0 in a scene
    std::int32_t type = HX_MESH;  ///< HxItemType
    std::string name;
    HostItemID parent = 0;  ///< 0 = the world; no item is among its own parents
    HostItemID target = 0;  ///< the item it is directed at, 0 = none
    HostItemID goal = 0;    ///< the item that a chain of bones reaches for, 0 = none
    bool aims = false;      ///< its forward axis follows the target, whatever its rotation says
    Motion motion;
    std::array<Limits, 3> limits;  ///< of position, rotation (radians), scaling
};

struct MeshItem {
    /// Sphere and Ground are exact; Mesh consists of triangles.
    enum class Shape { Sphere, Ground, Mesh };
    Item item;
    Shape shape = Shape::Mesh;
    double size = 1.0;                         ///< the sphere's radius; half the side of the ground
    std::shared_ptr<const Geometry> geometry;  ///< of a Mesh; items may share one
    std::vector<std::int32_t> surfaces;  ///< numbers in Scene::surfaces; what Geometry::surfaceOf refers to
    std::vector<HostItemID> bones;       ///< what Geometry::influences refer to
    std::string filename;
    std::int32_t points = 0;  ///< as the file counts them
    std::int32_t polygons = 0;
    std::uint32_t shadows = 7;  ///< bit 0: its own; bit 1: casts; bit 2: receives
    Track<double> dissolve;     ///< 0 = there, 1 = gone
    bool hidden = false;        ///< an item without anything to see, such as a group
};

struct BoneItem {
    Item item;
    HostItemID mesh = 0;      ///< the mesh that it moves
    std::uint32_t flags = 1;  ///< bit 0: active; bit 1: has limits
    Motion rest;              ///< where it was when the mesh was bound to it, relative to its parent
    Transform fromMesh;       ///< at rest: from the mesh's space to the bone's
    double restLength = 1.0;
    double innerLimit = 0.0;  ///< its reach
    double outerLimit = 0.0;
};

struct LightItem {
    enum class Type { Distant, Point, Spot, Linear, Area };
    enum class Shadow { None, Traced, Mapped };
    enum class Falloff { None, Linear, Square };
    Item item;  ///< shines along its forward axis
    Type type = Type::Point;
    Shadow shadow = Shadow::Traced;
    Falloff falloff = Falloff::None;
    double range =
        1.0;  ///< distance at which a light that falls off has its colour; linear falloff ends there
    Track<Vec3> color;  ///< linear RGB
    Track<double> intensity{1.0};
    double coneRadius = 0.5;  ///< of a spot, radians: half the angle of its cone
    double coneEdge = 0.1;    ///< the part of it in which it fades, radians
    double radius = 0.0;      ///< of the disc that makes soft shadows; distant lights: radians
    Vec3 size;                ///< full width (x) and height (y) of an area; length (x) of a linear light
};

struct CameraItem {
    Item item;
    Track<double> verticalFov{0.5};   ///< radians
    Track<double> focalLength{50.0};  ///< millimetres
    Track<double> focalDistance{5.0};
    Track<double> fStop{8.0};
    Track<double> blurLength{0.0};  ///< share of a frame during which the shutter is open
    bool fitsSmallerSide = false;   ///< the angle covers the picture's smaller side, not always its height
    bool orthographic = false;
    double orthographicHeight = 2.0;
};

struct ImageItem {
    HostItemID id = 0;
    std::string name;
    std::string filename;
};

/// A surface by name: how it looks by itself, and the script that shades it.
struct SurfaceEntry {
    std::string name;
    Surface plain;
    std::string script;  ///< native path; empty: none
};

/// A picture all around the scene, in place of the sky.
struct EnvironmentPicture {
    std::string filename;  ///< native path; empty: none
    double intensity = 1.0;
    double rotation = 0.0;  ///< about the vertical axis, radians
};

/// The settings of a scene as a whole.
struct SceneSettings {
    std::int32_t frameStart = 0;
    std::int32_t frameEnd = 0;
    std::int32_t frameStep = 1;
    double framesPerSecond = 30.0;
    std::int32_t width = 512;
    std::int32_t height = 512;
    double pixelAspect = 1.0;
    std::int32_t minSamples = 16;
    std::int32_t maxSamples = 16;
    std::array<std::int32_t, 4> limitedRegion{};  ///< left, top, right, bottom in pixels; all 0: none
    std::int32_t renderType = 2;                  ///< 0 wireframe, 1 quick, 2 realistic
    std::uint32_t renderOptions = 7;              ///< bits: traced shadows, reflection, refraction
};

struct Scene {
    std::string name;
    std::string filename;
    std::vector<MeshItem> meshes;
    std::vector<LightItem> lights;
    std::vector<CameraItem> cameras;  ///< the first one takes the picture
    std::vector<BoneItem> bones;      ///< those of one mesh stand together, in the order of their mesh
    std::vector<ImageItem> images;
    std::vector<SurfaceEntry> surfaces;
    Sky sky;
    EnvironmentPicture environment;
    Track<Vec3> ambient;  ///< the even part of the sky's light, as the light service tells it
    SceneSettings settings;

    [[nodiscard]] const CameraItem& camera() const { return cameras.front(); }
};

/// Items by number, parents' children and the like, for a scene that does not change any more.
class SceneIndex {
public:
    /// @param scene  outlives the index
    explicit SceneIndex(const Scene& scene);

    [[nodiscard]] const Scene& scene() const noexcept { return scene_; }
    /// Null for a number that is no item's. Images are no items.
    [[nodiscard]] const Item* item(HostItemID id) const;
    [[nodiscard]] const MeshItem* mesh(HostItemID id) const { return find(meshes_, id); }
    [[nodiscard]] const LightItem* light(HostItemID id) const { return find(lights_, id); }
    [[nodiscard]] const CameraItem* camera(HostItemID id) const { return find(cameras_, id); }
    [[nodiscard]] const BoneItem* bone(HostItemID id) const { return find(bones_, id); }

    /// The first item of a type; of bones, the first of the mesh `parent`. 0 = none.
    [[nodiscard]] HostItemID first(std::int32_t type, HostItemID parent) const;
    /// The next item of the same type; of bones, of the same mesh. 0 = none.
    [[nodiscard]] HostItemID next(HostItemID id) const;
    [[nodiscard]] HostItemID firstChild(HostItemID id) const;
    /// The child of `id` that follows `child`. 0 = none, also when `child` is no child of it.
    [[nodiscard]] HostItemID nextChild(HostItemID id, HostItemID child) const;
    [[nodiscard]] const std::vector<HostItemID>& children(HostItemID id) const;

private:
    template <class T>
    using Table = std::unordered_map<HostItemID, const T*>;
    template <class T>
    static const T* find(const Table<T>& table, HostItemID id) {
        const auto found = table.find(id);
        return found == table.end() ? nullptr : found->second;
    }

    const Scene& scene_;
    Table<MeshItem> meshes_;
    Table<LightItem> lights_;
    Table<CameraItem> cameras_;
    Table<BoneItem> bones_;
    Table<Item> items_;
    std::unordered_map<HostItemID, HostItemID> next_;
    std::unordered_map<HostItemID, HostItemID> nextSibling_;
    std::unordered_map<HostItemID, HostItemID> firstBone_;
    std::unordered_map<HostItemID, std::vector<HostItemID>> children_;
};

}  // namespace kestrel::preview
