#include "preview/render/raycaster.h"

#include <embree3/rtcore.h>

#include <cfenv>
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

RTCGeometry makeSphere(RTCDevice device, const MeshItem& mesh) {
    RTCGeometry geometry = rtcNewGeometry(device, RTC_GEOMETRY_TYPE_SPHERE_POINT);
    auto* v = static_cast<float*>(rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_VERTEX, 0,
                                                          RTC_FORMAT_FLOAT4, 4 * sizeof(float), 1));
    const Vec3& c = mesh.item.position;
    v[0] = narrow(c.x);
    v[1] = narrow(c.y);
    v[2] = narrow(c.z);
    v[3] = narrow(mesh.size);
    return geometry;
}

RTCGeometry makeGround(RTCDevice device, const MeshItem& mesh) {
    RTCGeometry geometry = rtcNewGeometry(device, RTC_GEOMETRY_TYPE_QUAD);
    auto* v = static_cast<float*>(rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_VERTEX, 0,
                                                          RTC_FORMAT_FLOAT3, 3 * sizeof(float), 4));
    auto* index = static_cast<unsigned*>(rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_INDEX, 0,
                                                                 RTC_FORMAT_UINT4, 4 * sizeof(unsigned), 1));
    constexpr double kCorners[4][2] = {{-1, -1}, {-1, 1}, {1, 1}, {1, -1}};
    for (unsigned i = 0; i < 4; ++i) {
        const Vec3 corner = mesh.item.position + mesh.item.axes.toWorld({kCorners[i][0] * mesh.size, 0.0,
                                                                         kCorners[i][1] * mesh.size});
        v[3 * i] = narrow(corner.x);
        v[3 * i + 1] = narrow(corner.y);
        v[3 * i + 2] = narrow(corner.z);
        index[i] = i;
    }
    return geometry;
}

/// The library computes in single precision; this moves the hit onto the true sphere.
void refineOnSphere(const Ray& ray, Hit& hit) {
    const Vec3 fromCenter = ray.origin - hit.mesh->item.position;
    const double b = dot(fromCenter, ray.direction);
    const double c = dot(fromCenter, fromCenter) - hit.mesh->size * hit.mesh->size;
    const double root = std::sqrt(std::max(0.0, b * b - c));
    // Of the two exact hits, the one that the library meant.
    const double nearHit = -b - root;
    const double farHit = -b + root;
    hit.inside = std::abs(hit.distance - farHit) < std::abs(hit.distance - nearHit);
    hit.distance = hit.inside ? farHit : nearHit;
    hit.normal = normalize(fromCenter + ray.direction * hit.distance);
    hit.objectPoint = hit.mesh->item.axes.toObject(hit.normal) * hit.mesh->size;
    hit.point = hit.mesh->item.position + hit.normal * hit.mesh->size;

    using std::numbers::pi;
    const Vec3 unit = hit.objectPoint * (1.0 / hit.mesh->size);
    const int rings = hit.mesh->rings;
    const int segments = hit.mesh->segments;
    const int ring = static_cast<int>(std::acos(std::clamp(unit.y, -1.0, 1.0)) / pi * rings);
    const int segment = static_cast<int>((std::atan2(unit.z, unit.x) / (2.0 * pi) + 0.5) * segments);
    hit.polygon = std::min(ring, rings - 1) * segments + std::min(segment, segments - 1);
}

void refineOnGround(const Ray& ray, Hit& hit) {
    hit.normal = hit.mesh->item.axes.up;
    const double slope = dot(ray.direction, hit.normal);
    hit.inside = slope > 0.0;
    if (slope != 0.0) hit.distance = dot(hit.mesh->item.position - ray.origin, hit.normal) / slope;
    hit.point = ray.origin + ray.direction * hit.distance;
    hit.point = hit.point - hit.normal * dot(hit.point - hit.mesh->item.position, hit.normal);
    hit.objectPoint = hit.mesh->item.axes.toObject(hit.point - hit.mesh->item.position);
}

}  // namespace

struct RayCaster::Impl {
    DeviceHandle device;
    SceneHandle scene;
    std::vector<const MeshItem*> meshes;  // by geometry number
};

RayCaster::RayCaster(const Scene& scene) : impl_(std::make_unique<Impl>()) {
    // Setting the library up may change how the thread treats denormal numbers; scripts rely on the default.
    std::fenv_t environment;
    std::fegetenv(&environment);
    impl_->device.reset(rtcNewDevice("threads=1,set_affinity=0"));
    if (!impl_->device) throw std::runtime_error("the ray casting library does not start on this machine");
    impl_->scene.reset(rtcNewScene(impl_->device.get()));
    for (const MeshItem& mesh : scene.meshes) {
        RTCGeometry geometry = mesh.shape == MeshItem::Shape::Sphere ? makeSphere(impl_->device.get(), mesh)
                                                                     : makeGround(impl_->device.get(), mesh);
        rtcCommitGeometry(geometry);
        rtcAttachGeometryByID(impl_->scene.get(), geometry, static_cast<unsigned>(impl_->meshes.size()));
        rtcReleaseGeometry(geometry);
        impl_->meshes.push_back(&mesh);
    }
    rtcCommitScene(impl_->scene.get());
    std::fesetenv(&environment);
}

RayCaster::~RayCaster() = default;

Hit RayCaster::intersect(const Ray& ray) const {
    RTCIntersectContext context;
    rtcInitIntersectContext(&context);
    RTCRayHit query;
    query.ray.org_x = narrow(ray.origin.x);
    query.ray.org_y = narrow(ray.origin.y);
    query.ray.org_z = narrow(ray.origin.z);
    query.ray.dir_x = narrow(ray.direction.x);
    query.ray.dir_y = narrow(ray.direction.y);
    query.ray.dir_z = narrow(ray.direction.z);
    query.ray.tnear = narrow(ray.from);
    query.ray.tfar = narrow(ray.to);
    query.ray.time = 0.0F;
    query.ray.mask = ~0U;
    query.ray.id = 0;
    query.ray.flags = 0;
    query.hit.geomID = RTC_INVALID_GEOMETRY_ID;
    query.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
    rtcIntersect1(impl_->scene.get(), &context, &query);

    Hit hit;
    if (query.hit.geomID == RTC_INVALID_GEOMETRY_ID) return hit;
    hit.mesh = impl_->meshes[query.hit.geomID];
    hit.distance = static_cast<double>(query.ray.tfar);
    if (hit.mesh->shape == MeshItem::Shape::Sphere) {
        refineOnSphere(ray, hit);
    } else {
        refineOnGround(ray, hit);
    }
    return hit;
}

}  // namespace kestrel::preview
