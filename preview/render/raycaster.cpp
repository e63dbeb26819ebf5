#include "preview/render/raycaster.h"

#include <embree3/rtcore.h>

#include <algorithm>
#include <array>
#include <cfenv>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <stdexcept>
#include <vector>

namespace kestrel::preview {

namespace {

struct DeviceCloser {
    void operator()(RTCDevice device) const { rtcReleaseDevice(device); }
};
struct SceneCloser {
    void operator()(RTCScene scene) const { rtcReleaseScene(scene); }
};
using DeviceHandle = std::unique_ptr<RTCDeviceTy, DeviceCloser>;
using SceneHandle = std::unique_ptr<RTCSceneTy, SceneCloser>;

float narrow(double value) {
    return static_cast<float>(value);
}

/// The library computes in single precision: how far off it may be around a point.
double precisionAt(const Vec3& point) {
    constexpr double kSteps = 2e-5;
    return kSteps * std::max({std::abs(point.x), std::abs(point.y), std::abs(point.z), 1e-3});
}
/// On a sphere it is off by far more, as the root of the error counts where a ray just touches it.
double marginOf(double radius) {
    return 1e-3 * radius;
}

double radiusOf(const PosedMesh& sphere) {
    return sphere.mesh->size * length(sphere.toWorld.right);
}

RTCGeometry makeSphere(RTCDevice device, const PosedMesh& posed) {
    RTCGeometry geometry = rtcNewGeometry(device, RTC_GEOMETRY_TYPE_SPHERE_POINT);
    auto* v = static_cast<float*>(rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_VERTEX, 0,
                                                          RTC_FORMAT_FLOAT4, 4 * sizeof(float), 1));
    const Vec3& c = posed.toWorld.origin;
    v[0] = narrow(c.x);
    v[1] = narrow(c.y);
    v[2] = narrow(c.z);
    v[3] = narrow(radiusOf(posed));
    return geometry;
}

RTCGeometry makeGround(RTCDevice device, const PosedMesh& posed) {
    RTCGeometry geometry = rtcNewGeometry(device, RTC_GEOMETRY_TYPE_QUAD);
    auto* v = static_cast<float*>(rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_VERTEX, 0,
                                                          RTC_FORMAT_FLOAT3, 3 * sizeof(float), 4));
    auto* index = static_cast<unsigned*>(rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_INDEX, 0,
                                                                 RTC_FORMAT_UINT4, 4 * sizeof(unsigned), 1));
    constexpr double kCorners[4][2] = {{-1, -1}, {-1, 1}, {1, 1}, {1, -1}};
    for (unsigned i = 0; i < 4; ++i) {
        const Vec3 corner =
            posed.toWorld.point({kCorners[i][0] * posed.mesh->size, 0.0, kCorners[i][1] * posed.mesh->size});
        v[3 * i] = narrow(corner.x);
        v[3 * i + 1] = narrow(corner.y);
        v[3 * i + 2] = narrow(corner.z);
        index[i] = i;
    }
    return geometry;
}

RTCGeometry makeTriangles(RTCDevice device, const PosedMesh& posed) {
    RTCGeometry geometry = rtcNewGeometry(device, RTC_GEOMETRY_TYPE_TRIANGLE);
    const Geometry& source = *posed.geometry;
    auto* v = static_cast<Float3*>(rtcSetNewGeometryBuffer(
        geometry, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, sizeof(Float3), source.points.size()));
    for (const Float3& point : source.points) *v++ = toFloat3(posed.toWorld.point(toVec(point)));
    // The posed mesh keeps its triangles at least as long as the caster lives.
    rtcSetSharedGeometryBuffer(geometry, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, source.triangles.data(),
                               0, sizeof(std::array<std::uint32_t, 3>), source.triangles.size());
    return geometry;
}

/// The grid in which the polygons of a sphere are counted: from pole to pole, and twice as many around.
int ringsOf(const MeshItem& sphere) {
    return std::max(1, static_cast<int>(std::lround(std::sqrt(0.5 * sphere.polygons))));
}

/// The library computes in single precision; this moves the hit onto the true sphere.
void refineOnSphere(const Ray& ray, Hit& hit) {
    const MeshItem& mesh = *hit.mesh->mesh;
    const double radius = radiusOf(*hit.mesh);
    const Vec3 center = hit.mesh->toWorld.origin;
    const Vec3 fromCenter = ray.origin - center;
    const double b = dot(fromCenter, ray.direction);
    const double c = dot(fromCenter, fromCenter) - radius * radius;
    const double root = std::sqrt(std::max(0.0, b * b - c));
    // Of the two exact hits, the one that the library meant.
    const double nearHit = -b - root;
    const double farHit = -b + root;
    hit.inside = std::abs(hit.distance - farHit) < std::abs(hit.distance - nearHit);
    hit.distance = hit.inside ? farHit : nearHit;
    hit.normal = normalize(fromCenter + ray.direction * hit.distance);
    hit.objectPoint = hit.mesh->axes.toObject(hit.normal) * mesh.size;
    hit.point = center + hit.normal * radius;
    hit.margin = std::max(marginOf(radius), precisionAt(hit.point));

    using std::numbers::pi;
    const Vec3 unit = hit.objectPoint * (1.0 / mesh.size);
    const int rings = ringsOf(mesh);
    const int segments = 2 * rings;
    const int ring = static_cast<int>(std::acos(std::clamp(unit.y, -1.0, 1.0)) / pi * rings);
    const int segment = static_cast<int>((std::atan2(unit.z, unit.x) / (2.0 * pi) + 0.5) * segments);
    hit.polygon = std::min(ring, rings - 1) * segments + std::min(segment, segments - 1);
}

void refineOnGround(const Ray& ray, Hit& hit) {
    const Vec3& origin = hit.mesh->toWorld.origin;
    hit.normal = hit.mesh->axes.up;
    const double slope = dot(ray.direction, hit.normal);
    hit.inside = slope > 0.0;
    if (slope != 0.0) hit.distance = dot(origin - ray.origin, hit.normal) / slope;
    hit.point = ray.origin + ray.direction * hit.distance;
    hit.point = hit.point - hit.normal * dot(hit.point - origin, hit.normal);
    hit.objectPoint = hit.mesh->axes.toObject(hit.point - origin);
    hit.margin = std::max(marginOf(0.1), precisionAt(hit.point));
}

/// The point by its place in the triangle, which is more exact than along the ray.
void refineOnTriangle(const Ray& ray, std::uint32_t triangle, double u, double v, Hit& hit) {
    const Geometry& geometry = *hit.mesh->geometry;
    const std::array<std::uint32_t, 3>& corner = geometry.triangles[triangle];
    const Vec3 a = toVec(geometry.points[corner[0]]);
    const Vec3 b = toVec(geometry.points[corner[1]]);
    const Vec3 c = toVec(geometry.points[corner[2]]);
    hit.objectPoint = a * (1.0 - u - v) + b * u + c * v;
    hit.point = hit.mesh->toWorld.point(hit.objectPoint);
    hit.margin = precisionAt(hit.point);
    hit.normal = hit.mesh->toWorld.normal(normalize(cross(b - a, c - a)));
    hit.inside = dot(hit.normal, ray.direction) > 0.0;
    hit.shadingNormal = hit.normal;
    if (!geometry.normals.empty()) {
        const Vec3 smooth = toVec(geometry.normals[corner[0]]) * (1.0 - u - v) +
                            toVec(geometry.normals[corner[1]]) * u + toVec(geometry.normals[corner[2]]) * v;
        if (length(smooth) > 0.0) hit.shadingNormal = hit.mesh->toWorld.normal(normalize(smooth));
    }
    hit.polygon = geometry.polygon(triangle);
    const std::vector<std::int32_t>& surfaces = hit.mesh->mesh->surfaces;
    const std::uint16_t place = geometry.surface(triangle);
    hit.surface = place < surfaces.size() ? surfaces[place] : 0;
}

RTCRay queryFor(const Ray& ray) {
    RTCRay query;
    query.org_x = narrow(ray.origin.x);
    query.org_y = narrow(ray.origin.y);
    query.org_z = narrow(ray.origin.z);
    query.dir_x = narrow(ray.direction.x);
    query.dir_y = narrow(ray.direction.y);
    query.dir_z = narrow(ray.direction.z);
    query.tnear = narrow(ray.from);
    query.tfar = narrow(ray.to);
    query.time = 0.0F;
    query.mask = ~0U;
    query.id = 0;
    query.flags = 0;
    return query;
}

/// Null for a mesh without anything to hit.
RTCGeometry makeGeometry(RTCDevice device, const PosedMesh& posed) {
    switch (posed.mesh->shape) {
        case MeshItem::Shape::Sphere:
            return makeSphere(device, posed);
        case MeshItem::Shape::Ground:
            return makeGround(device, posed);
        case MeshItem::Shape::Mesh:
            break;
    }
    const bool empty = posed.geometry == nullptr || posed.geometry->triangles.empty();
    return empty ? nullptr : makeTriangles(device, posed);
}

}  // namespace

struct RayCaster::Impl {
    DeviceHandle device;
    SceneHandle scene;
    std::vector<const PosedMesh*> meshes;  // by geometry number
    double margin = 0.0;                   // around exact shapes
};

RayCaster::RayCaster(const Pose& pose) : impl_(std::make_unique<Impl>()) {
    // Setting the library up may change how the thread treats denormal numbers; scripts rely on the default.
    std::fenv_t environment;
    std::fegetenv(&environment);
    impl_->device.reset(rtcNewDevice("threads=1,set_affinity=0"));
    if (!impl_->device) throw std::runtime_error("the ray casting library does not start on this machine");
    impl_->scene.reset(rtcNewScene(impl_->device.get()));
    for (const PosedMesh& posed : pose.meshes) {
        RTCGeometry geometry = makeGeometry(impl_->device.get(), posed);
        if (geometry == nullptr) continue;
        rtcCommitGeometry(geometry);
        rtcAttachGeometryByID(impl_->scene.get(), geometry, static_cast<unsigned>(impl_->meshes.size()));
        rtcReleaseGeometry(geometry);
        impl_->meshes.push_back(&posed);
        if (posed.mesh->shape == MeshItem::Shape::Sphere) {
            impl_->margin = std::max(impl_->margin, marginOf(radiusOf(posed)));
        }
    }
    rtcCommitScene(impl_->scene.get());
    std::fesetenv(&environment);
}

RayCaster::~RayCaster() = default;

bool RayCaster::occluded(const Ray& ray) const {
    RTCIntersectContext context;
    rtcInitIntersectContext(&context);
    RTCRay query = queryFor(ray);
    rtcOccluded1(impl_->scene.get(), &context, &query);
    return query.tfar < 0.0F;
}

double RayCaster::marginAt(const Vec3& point) const {
    return std::max(impl_->margin, precisionAt(point));
}

Hit RayCaster::intersect(const Ray& ray) const {
    RTCIntersectContext context;
    rtcInitIntersectContext(&context);
    RTCRayHit query;
    query.ray = queryFor(ray);
    query.hit.geomID = RTC_INVALID_GEOMETRY_ID;
    query.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
    rtcIntersect1(impl_->scene.get(), &context, &query);

    Hit hit;
    if (query.hit.geomID == RTC_INVALID_GEOMETRY_ID) return hit;
    hit.mesh = impl_->meshes[query.hit.geomID];
    hit.distance = static_cast<double>(query.ray.tfar);
    if (hit.mesh->mesh->shape == MeshItem::Shape::Mesh) {
        refineOnTriangle(ray, query.hit.primID, static_cast<double>(query.hit.u),
                         static_cast<double>(query.hit.v), hit);
        return hit;
    }
    if (hit.mesh->mesh->shape == MeshItem::Shape::Sphere) {
        refineOnSphere(ray, hit);
    } else {
        refineOnGround(ray, hit);
    }
    hit.shadingNormal = hit.normal;
    hit.surface = hit.mesh->mesh->surfaces.empty() ? 0 : hit.mesh->mesh->surfaces.front();
    return hit;
}

}  // namespace kestrel::preview
