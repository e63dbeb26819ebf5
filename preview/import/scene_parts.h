// What the readers of all formats share when they fill a scene.
#pragma once

#include "preview/import/import_error.h"
#include "preview/scene/scene.h"

#include <memory>
#include <string>
#include <unordered_map>

namespace kestrel::preview {

/// Gives texts that are not given yet, never an empty one.
class Names {
public:
    /// @param wanted  may be empty
    /// @param kind    what an item without a name is called, with a number: "Mesh 3"
    [[nodiscard]] std::string choose(const std::string& wanted, const std::string& kind);

private:
    std::unordered_map<std::string, int> used_;  // with the number that the next one of that name gets
};

/// What a scene has taken of ImportLimits. Taking too much throws.
class Budget {
public:
    explicit Budget(std::string file) : file_(std::move(file)) {}
    void takePoints(std::size_t count) { take(points_, count, ImportLimits::kPoints, "points"); }
    void takeTriangles(std::size_t count) { take(triangles_, count, ImportLimits::kTriangles, "triangles"); }
    void takeKeys(std::size_t count) { take(keys_, count, ImportLimits::kKeys, "keys"); }
    void takeItem() { take(items_, 1, ImportLimits::kItems, "items"); }

private:
    void take(std::size_t& taken, std::size_t count, std::size_t most, const char* what) const;

    std::string file_;
    std::size_t points_ = 0;
    std::size_t triangles_ = 0;
    std::size_t keys_ = 0;
    std::size_t items_ = 0;
};

/// The number of the item that comes next in a list of a type.
[[nodiscard]] HostItemID itemNumber(std::int32_t type, std::size_t before);

/// Adds an item with its number, type and name. The reference holds until the next one of its type.
MeshItem& addMesh(Scene& scene, std::string name);
LightItem& addLight(Scene& scene, std::string name);
CameraItem& addCamera(Scene& scene, std::string name);
BoneItem& addBone(Scene& scene, std::string name);

/// Calls `visit(item)` for all items of a scene.
template <class Visit>
void forEachItem(Scene& scene, const Visit& visit) {
    for (MeshItem& mesh : scene.meshes) visit(mesh.item);
    for (LightItem& light : scene.lights) visit(light.item);
    for (CameraItem& camera : scene.cameras) visit(camera.item);
    for (BoneItem& bone : scene.bones) visit(bone.item);
}

/// True for points that can be shown.
[[nodiscard]] bool usable(const Vec3& point);
[[nodiscard]] Float3 mirrored(const Float3& v);

/// Shapes as triangles, around the origin; sizes are half the edge, or the radius. Counts of points and
/// polygons are set.
void makePlane(MeshItem& mesh, double size);
void makeCube(MeshItem& mesh, double size);
void makeBall(MeshItem& mesh, double radius);

/// Brings the bones of each mesh together and puts triangles where an exact shape is scaled. Throws when
/// items are their own parents or hang too deep.
void finishScene(Scene& scene, const std::string& file);

/// Gives a scene without cameras one that sees all meshes as they are at the first frame, and one without
/// lights a key light; an image has to show something.
/// @param addKeyLight  false: a scene without lights stays dark
void completeScene(Scene& scene, bool addKeyLight = true);

/// An even light from all around, for scenes that say nothing of it.
void giveSky(Scene& scene);

/// The angle that a lens of that many millimetres covers, and back, on film 24 mm high.
[[nodiscard]] double fovOfFocalLength(double millimetres);
[[nodiscard]] double focalLengthOfFov(double radians);

}  // namespace kestrel::preview
