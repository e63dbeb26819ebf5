#include "preview/scene/builtin_scene.h"

namespace kestrel::preview {

namespace {

constexpr HostItemID kSphereId = 0x101;
constexpr HostItemID kGroundId = 0x102;
constexpr HostItemID kKeyLightId = 0x201;
constexpr HostItemID kRimLightId = 0x202;
constexpr HostItemID kCameraId = 0x301;

constexpr int kRings = 64;      // the grid in which the sphere's polygons are counted: from pole to pole,
constexpr int kSegments = 128;  // and around

MeshItem makeShape(HostItemID id, const char* name, MeshItem::Shape shape, double size, int surface) {
    MeshItem mesh;
    mesh.item.id = id;
    mesh.item.type = HX_MESH;
    mesh.item.name = name;
    mesh.shape = shape;
    mesh.size = size;
    mesh.filename = name;
    mesh.surfaces = {surface};
    return mesh;
}

LightItem makeLight(HostItemID id, const char* name, const Vec3& position, const Vec3& color, double radius) {
    LightItem light;
    light.item.id = id;
    light.item.type = HX_LIGHT;
    light.item.name = name;
    light.item.motion.position = position;
    light.item.target = kSphereId;
    light.item.aims = true;
    light.color = color;
    light.radius = radius;
    return light;
}

CameraItem makeCamera(const Vec3& eye, const Vec3& lookTarget) {
    CameraItem camera;
    camera.item.id = kCameraId;
    camera.item.type = HX_CAMERA;
    camera.item.name = "Camera";
    camera.item.target = kSphereId;
    camera.item.motion.position = eye;
    camera.item.motion.angles = anglesOf(lookAt(eye, lookTarget));
    camera.verticalFov = 0.49;
    camera.fitsSmallerSide = true;
    camera.focalDistance = length(lookTarget - eye);
    return camera;
}

}  // namespace

Scene makeSphereScene() {
    Scene scene;
    scene.name = "Sphere";
    Surface ground;
    ground.color = {0.46, 0.45, 0.44};
    ground.specular = 0.0;
    scene.surfaces = {{"Sphere", {}, {}}, {"Ground", ground, {}}};
    scene.meshes = {makeShape(kSphereId, "Sphere", MeshItem::Shape::Sphere, 1.0, 0),
                    makeShape(kGroundId, "Ground", MeshItem::Shape::Ground, 400.0, 1)};
    MeshItem& sphere = scene.meshes.front();
    sphere.item.motion.position = Vec3{0.0, 1.0, 0.0};
    sphere.points = (kRings - 1) * kSegments + 2;
    sphere.polygons = kRings * kSegments;
    scene.meshes.back().points = 4;
    scene.meshes.back().polygons = 1;
    scene.lights = {makeLight(kKeyLightId, "Key", {-4.8, 6.0, -4.2}, {0.98, 0.90, 0.78}, 0.8),
                    makeLight(kRimLightId, "Rim", {5.2, 3.0, 2.6}, {0.30, 0.38, 0.52}, 0.9)};
    scene.cameras = {makeCamera({0.0, 1.75, -6.1}, {0.0, 0.93, 0.0})};

    scene.sky.horizon = {0.47, 0.49, 0.52};
    scene.sky.zenith = {0.09, 0.15, 0.27};
    scene.sky.bounce = {0.10, 0.09, 0.08};
    scene.sky.glow = {2.6, 2.4, 2.1};
    scene.sky.glowDirection =
        normalize(scene.lights.front().item.motion.position.at(0.0) - Vec3{0.0, 1.0, 0.0});
    scene.ambient = scene.sky.ambient({0.0, 0.0, -1.0});
    return scene;
}

}  // namespace kestrel::preview
