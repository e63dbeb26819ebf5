#include "preview/scene/scene.h"

namespace kestrel::preview {

namespace {

constexpr HostItemID kSphereId = 0x101;
constexpr HostItemID kGroundId = 0x102;
constexpr HostItemID kKeyLightId = 0x201;
constexpr HostItemID kRimLightId = 0x202;
constexpr HostItemID kCameraId = 0x301;

/// How much of its brightness the sky gives off as light: less than all, so that the key light models the
/// shapes.
constexpr double kSkyLight = 0.62;

MeshItem makeSphere() {
    MeshItem sphere;
    sphere.item = {
        .id = kSphereId, .type = HX_MESH, .name = "Sphere", .position = {0.0, 1.0, 0.0}, .axes = {}};
    sphere.shape = MeshItem::Shape::Sphere;
    sphere.size = 1.0;
    sphere.scripted = true;
    sphere.filename = "Sphere";
    sphere.rings = 64;
    sphere.segments = 128;
    return sphere;
}

MeshItem makeGround() {
    MeshItem ground;
    ground.item = {.id = kGroundId, .type = HX_MESH, .name = "Ground", .position = {}, .axes = {}};
    ground.shape = MeshItem::Shape::Ground;
    ground.size = 400.0;
    ground.filename = "Ground";
    return ground;
}

LightItem makeLight(HostItemID id, const char* name, const Vec3& position, const Vec3& color, double radius,
                    const PlacedItem& target) {
    LightItem light;
    light.item = {.id = id,
                  .type = HX_LIGHT,
                  .name = name,
                  .position = position,
                  .axes = lookAt(position, target.position),
                  .target = target.id};
    light.color = color;
    light.radius = radius;
    return light;
}

}  // namespace

std::int32_t MeshItem::pointCount() const {
    // A sphere's rings share their ends and its poles are single points.
    return shape == Shape::Sphere ? (rings - 1) * segments + 2 : (rings + 1) * (segments + 1);
}

Vec3 Sky::color(const Vec3& direction) const {
    const double height = std::clamp(direction.y, 0.0, 1.0);
    const double towardsGlow = std::max(0.0, dot(direction, glowDirection));
    return mix(horizon, zenith, std::pow(height, 0.6)) + glow * smoothStep(0.90, 0.985, towardsGlow);
}

Vec3 Sky::ambient(const Vec3& normal) const {
    // Half of the gradient's light comes from around the horizon, so the average is near its middle.
    return mix(bounce, mix(horizon, zenith, 0.4) * kSkyLight, 0.5 + 0.5 * normal.y);
}

const PlacedItem* Scene::item(HostItemID id) const {
    for (const std::int32_t type : {HX_MESH, HX_LIGHT, HX_CAMERA}) {
        for (std::size_t i = 0; const PlacedItem* found = itemAt(type, i); ++i) {
            if (found->id == id) return found;
        }
    }
    return nullptr;
}

const MeshItem* Scene::mesh(HostItemID id) const {
    for (const MeshItem& mesh : meshes) {
        if (mesh.item.id == id) return &mesh;
    }
    return nullptr;
}

const LightItem* Scene::light(HostItemID id) const {
    for (const LightItem& light : lights) {
        if (light.item.id == id) return &light;
    }
    return nullptr;
}

const PlacedItem* Scene::itemAt(std::int32_t type, std::size_t index) const {
    if (type == HX_MESH && index < meshes.size()) return &meshes[index].item;
    if (type == HX_LIGHT && index < lights.size()) return &lights[index].item;
    if (type == HX_CAMERA && index == 0) return &camera.item;
    return nullptr;
}

Scene makeSphereScene() {
    Scene scene;
    scene.name = "Sphere";
    scene.filename = "";
    scene.meshes = {makeSphere(), makeGround()};
    const PlacedItem& sphere = scene.meshes.front().item;

    scene.lights = {makeLight(kKeyLightId, "Key", {-4.8, 6.0, -4.2}, {0.98, 0.90, 0.78}, 0.8, sphere),
                    makeLight(kRimLightId, "Rim", {5.2, 3.0, 2.6}, {0.30, 0.38, 0.52}, 0.9, sphere)};

    const Vec3 eye{0.0, 1.75, -6.1};
    const Vec3 lookTarget{0.0, 0.93, 0.0};
    scene.camera.item = {.id = kCameraId,
                         .type = HX_CAMERA,
                         .name = "Camera",
                         .position = eye,
                         .axes = lookAt(eye, lookTarget),
                         .target = sphere.id};
    scene.camera.verticalFov = 0.49;
    scene.camera.focalDistance = length(lookTarget - eye);

    scene.sky.horizon = {0.47, 0.49, 0.52};
    scene.sky.zenith = {0.09, 0.15, 0.27};
    scene.sky.bounce = {0.10, 0.09, 0.08};
    scene.sky.glow = {2.6, 2.4, 2.1};
    scene.sky.glowDirection = normalize(scene.lights.front().item.position - sphere.position);
    scene.ambient = scene.sky.ambient({0.0, 0.0, -1.0});
    return scene;
}

}  // namespace kestrel::preview
