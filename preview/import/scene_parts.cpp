#include "preview/import/scene_parts.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace kestrel::preview {

namespace {

constexpr double kFilmHeight = 24.0;
constexpr int kRings = 64;  // of a ball, from pole to pole; twice as many around

template <class T>
T& add(std::vector<T>& list, std::int32_t type, std::string name) {
    const HostItemID id = itemNumber(type, list.size());
    T& added = list.emplace_back();
    added.item.id = id;
    added.item.type = type;
    added.item.name = std::move(name);
    return added;
}

/// A face with corners in the order of a polygon that is seen from outside.
void addQuad(Geometry& geometry, const std::array<Vec3, 4>& corners) {
    const auto first = static_cast<std::uint32_t>(geometry.points.size());
    const auto polygon = static_cast<std::int32_t>(geometry.triangles.size() / 2);
    for (const Vec3& corner : corners) geometry.points.push_back(toFloat3(corner));
    geometry.triangles.push_back({first, first + 1, first + 2});
    geometry.triangles.push_back({first, first + 2, first + 3});
    geometry.polygonOf.insert(geometry.polygonOf.end(), {polygon, polygon});
}

void show(MeshItem& mesh, Geometry geometry, std::int32_t points, std::int32_t polygons) {
    mesh.shape = MeshItem::Shape::Mesh;
    mesh.geometry = std::make_shared<const Geometry>(std::move(geometry));
    mesh.points = points;
    mesh.polygons = polygons;
}

Vec3 onBall(int ring, int segment) {
    using std::numbers::pi;
    const double polar = pi * ring / kRings;
    const double around = pi * (segment % (2 * kRings)) / kRings;
    return {std::sin(polar) * std::cos(around), std::cos(polar), std::sin(polar) * std::sin(around)};
}

}  // namespace

std::string Names::choose(const std::string& wanted, const std::string& kind) {
    const auto entered = [this](const std::string& name) { return used_.emplace(name, 2).second; };
    if (!wanted.empty() && entered(wanted)) return wanted;
    const std::string key = wanted.empty() ? "\n" + kind : wanted;  // no item is called so
    int& number = used_.emplace(key, wanted.empty() ? 1 : 2).first->second;
    for (;; ++number) {
        std::string name = wanted.empty() ? kind + " " + std::to_string(number)
                                          : wanted + " (" + std::to_string(number) + ")";
        if (!used_.contains(name)) {
            ++number;
            (void)entered(name);
            return name;
        }
    }
}

void Budget::take(std::size_t& taken, std::size_t count, std::size_t most, const char* what) const {
    if (count > most - taken) {
        throw ImportError(file_, "", "has more than " + std::to_string(most) + " " + what);
    }
    taken += count;
}

HostItemID itemNumber(std::int32_t type, std::size_t before) {
    return static_cast<HostItemID>(type + 1) << 24U | static_cast<HostItemID>(before + 1);
}

MeshItem& addMesh(Scene& scene, std::string name) {
    return add(scene.meshes, HX_MESH, std::move(name));
}
LightItem& addLight(Scene& scene, std::string name) {
    return add(scene.lights, HX_LIGHT, std::move(name));
}
CameraItem& addCamera(Scene& scene, std::string name) {
    return add(scene.cameras, HX_CAMERA, std::move(name));
}
BoneItem& addBone(Scene& scene, std::string name) {
    return add(scene.bones, HX_BONE, std::move(name));
}

bool usable(const Vec3& point) {
    const auto fits = [](double x) { return std::abs(x) <= ImportLimits::kCoordinate; };  // false for NaN
    return fits(point.x) && fits(point.y) && fits(point.z);
}

Float3 mirrored(const Float3& v) {
    return {v.x, v.y, -v.z};
}

void makePlane(MeshItem& mesh, double size) {
    Geometry plane;
    addQuad(plane, {Vec3{-size, 0, -size}, {-size, 0, size}, {size, 0, size}, {size, 0, -size}});
    show(mesh, std::move(plane), 4, 1);
}

void makeCube(MeshItem& mesh, double size) {
    Geometry cube;
    const double s = size;
    addQuad(cube, {Vec3{-s, -s, -s}, {-s, s, -s}, {s, s, -s}, {s, -s, -s}});
    addQuad(cube, {Vec3{s, -s, s}, {s, s, s}, {-s, s, s}, {-s, -s, s}});
    addQuad(cube, {Vec3{-s, -s, s}, {-s, s, s}, {-s, s, -s}, {-s, -s, -s}});
    addQuad(cube, {Vec3{s, -s, -s}, {s, s, -s}, {s, s, s}, {s, -s, s}});
    addQuad(cube, {Vec3{-s, s, -s}, {-s, s, s}, {s, s, s}, {s, s, -s}});
    addQuad(cube, {Vec3{-s, -s, s}, {-s, -s, -s}, {s, -s, -s}, {s, -s, s}});
    show(mesh, std::move(cube), 8, 6);
}

void makeBall(MeshItem& mesh, double radius) {
    Geometry ball;
    constexpr std::uint32_t kAround = 2 * kRings;
    for (int ring = 0; ring <= kRings; ++ring) {
        for (int segment = 0; segment < 2 * kRings; ++segment) {
            ball.points.push_back(toFloat3(onBall(ring, segment) * radius));
            ball.normals.push_back(toFloat3(onBall(ring, segment)));
        }
    }
    const auto add = [&](std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t polygon) {
        ball.triangles.push_back({a, b, c});
        ball.polygonOf.push_back(static_cast<std::int32_t>(polygon));
    };
    for (std::uint32_t ring = 0; ring < kRings; ++ring) {
        for (std::uint32_t segment = 0; segment < kAround; ++segment) {
            const std::uint32_t a = ring * kAround + segment;
            const std::uint32_t b = ring * kAround + (segment + 1) % kAround;
            const std::uint32_t polygon = ring * kAround + segment;
            if (ring > 0) add(a, b, b + kAround, polygon);
            if (ring + 1 < kRings) add(a, b + kAround, a + kAround, polygon);
        }
    }
    show(mesh, std::move(ball), (kRings - 1) * 2 * kRings + 2, kRings * 2 * kRings);
}

double fovOfFocalLength(double millimetres) {
    return 2.0 * std::atan(0.5 * kFilmHeight / millimetres);
}
double focalLengthOfFov(double radians) {
    return 0.5 * kFilmHeight / std::tan(0.5 * radians);
}

}  // namespace kestrel::preview
