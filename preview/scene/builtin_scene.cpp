#include "preview/scene/builtin_scene.h"

#include "preview/scene/shapes.h"

#include <limits>
#include <utility>

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

// ---- the studio ----

constexpr Vec3 kKeyPlace{-3.7, 7.0, -4.4};
constexpr Vec3 kRimPlace{4.6, 3.6, 2.2};

MeshItem makeMesh(HostItemID id, const std::string& name, std::shared_ptr<const Geometry> geometry,
                  std::vector<std::int32_t> surfaces) {
    MeshItem mesh;
    mesh.item.id = id;
    mesh.item.type = HX_MESH;
    mesh.item.name = mesh.filename = name;
    mesh.points = static_cast<std::int32_t>(geometry->points.size());
    mesh.polygons = geometry->polygonOf.empty() ? static_cast<std::int32_t>(geometry->triangles.size())
                                                : geometry->polygonOf.back() + 1;
    mesh.geometry = std::move(geometry);
    mesh.surfaces = std::move(surfaces);
    return mesh;
}

MeshItem placed(Geometry geometry, const char* name, const Vec3& position, const Vec3& angles,
                std::vector<std::int32_t> surfaces = {0}) {
    MeshItem mesh =
        makeMesh(kSphereId, name, std::make_shared<const Geometry>(std::move(geometry)), std::move(surfaces));
    mesh.item.motion.position = position;
    mesh.item.motion.angles = angles;
    return mesh;
}

MeshItem shapeOf(PreviewShape shape) {
    switch (shape) {
        case PreviewShape::Ball:
            return placed(makeBall(), "Ball", {0.0, -kBallBottom, 0.0}, {}, {0, 2});
        case PreviewShape::Sphere: {
            MeshItem sphere = makeShape(kSphereId, "Sphere", MeshItem::Shape::Sphere, 1.0, 0);
            sphere.item.motion.position = Vec3{0.0, 1.0, 0.0};
            sphere.points = (kRings - 1) * kSegments + 2;
            sphere.polygons = kRings * kSegments;
            return sphere;
        }
        case PreviewShape::Cube:
            return placed(makeBox({0.8, 0.8, 0.8}, 0.06), "Cube", {0.0, 0.8, 0.0}, {0.55, 0.0, 0.0});
        case PreviewShape::Plane:
            break;
    }
    // It leans back, as on an easel.
    return placed(makeBox({1.05, 1.05, 0.04}, 0.02), "Plane", {0.0, 1.0427, 0.0}, {0.0, -0.14, 0.0});
}

/// Standing on the floor, its middle above the origin.
MeshItem fitted(std::shared_ptr<const Geometry> geometry, const std::string& name) {
    constexpr double kEndless = std::numeric_limits<double>::infinity();
    Vec3 low{kEndless, kEndless, kEndless};
    Vec3 high = -low;
    for (const Float3& point : geometry->points) {
        const Vec3 p = toVec(point);
        low = {std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z)};
        high = {std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z)};
    }
    const Vec3 size = high - low;
    const double widest = std::max({std::hypot(size.x, size.z), size.y, 1e-30});
    const double scale = std::isfinite(widest) ? 2.0 / widest : 1.0;
    MeshItem mesh = makeMesh(kSphereId, name, std::move(geometry), {});
    mesh.surfaces.assign(std::numeric_limits<std::uint16_t>::max() + std::size_t{1}, 0);
    mesh.item.motion.scaling = Vec3{scale, scale, scale};
    mesh.item.motion.position =
        Vec3{-0.5 * (low.x + high.x) * scale, -low.y * scale, -0.5 * (low.z + high.z) * scale};
    return mesh;
}

LightItem makeSoftbox(HostItemID id, const char* name, const Vec3& place, const Vec3& size,
                      const Vec3& color) {
    LightItem light = makeLight(id, name, place, color, 0.0);
    light.type = LightItem::Type::Area;
    light.size = size;
    light.falloff = LightItem::Falloff::Square;
    light.range = length(place - Vec3{0.0, 1.0, 0.0});
    return light;
}

/// What the object mirrors of the room: a dark gradient with softboxes in it.
Sky studioSky() {
    Sky sky;
    sky.horizon = {0.13, 0.14, 0.155};
    sky.zenith = {0.05, 0.055, 0.065};
    sky.bounce = {0.10, 0.09, 0.08};
    const auto add = [&sky](const Vec3& towards, double halfWidth, double halfHeight, double edge,
                            const Vec3& color) {
        sky.softboxes.push_back({lookAt({}, towards), halfWidth, halfHeight, edge, color});
    };
    add({0.15, 1.0, 0.10}, 0.75, 0.42, 0.25, {0.60, 0.62, 0.68});   // above: a wide, even one
    add({0.95, 0.30, -0.42}, 0.10, 0.62, 0.05, {3.4, 3.6, 4.0});    // a strip to the right
    add({-1.0, 0.22, -0.05}, 0.14, 0.55, 0.07, {2.0, 1.95, 1.85});  // and a weaker one to the left
    add({0.30, 0.30, -1.0}, 0.40, 0.26, 0.20, {0.45, 0.45, 0.47});  // behind the camera, to fill
    return sky;
}

Scene studio(MeshItem object) {
    Scene scene;
    scene.name = object.item.name;
    Surface backdrop;
    backdrop.color = {0.36, 0.365, 0.375};
    backdrop.specular = 0.0;
    Surface foot;
    foot.color = {0.055, 0.055, 0.06};
    foot.specular = 0.5;
    foot.roughness = 0.35;
    scene.surfaces = {{object.item.name, {}, {}}, {"Ground", backdrop, {}}};
    if (object.surfaces.size() == 2) scene.surfaces.push_back({"Foot", foot, {}});
    scene.meshes = {std::move(object),
                    makeMesh(kGroundId, "Ground", std::make_shared<const Geometry>(makeBackdrop({})), {1})};
    scene.lights = {makeSoftbox(kKeyLightId, "Key", kKeyPlace, {3.8, 3.8, 0.0}, {1.22, 1.15, 1.05}),
                    makeSoftbox(kRimLightId, "Rim", kRimPlace, {1.3, 3.2, 0.0}, {0.50, 0.58, 0.74})};
    scene.cameras = {makeCamera({0.0, 1.95, -6.6}, {0.0, 0.98, 0.0})};
    scene.cameras.front().verticalFov = 0.47;
    scene.sky = studioSky();
    scene.ambient = scene.sky.ambient({0.0, 0.0, -1.0});
    return scene;
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

Scene makePreviewScene(PreviewShape shape) {
    return studio(shapeOf(shape));
}

Scene makePreviewScene(std::shared_ptr<const Geometry> geometry, const std::string& name) {
    return studio(fitted(std::move(geometry), name));
}

}  // namespace kestrel::preview
