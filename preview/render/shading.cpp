#include "preview/render/shading.h"

#include "preview/render/optics.h"

#include <array>

namespace kestrel::preview {

namespace {

constexpr int kDeepest = 8;                 // rays that follow from one camera ray
constexpr double kLeastWeight = 1.0 / 256;  // what cannot change a pixel by one step is not followed
constexpr double kShadowOffset = 1e-3;
constexpr int kShadowGrid = 2;  // squared: shadow rays per light where the camera looks
constexpr int kRoughGrid = 2;   // the same for the reflection in a rough mirror

constexpr Vec3 kGroundColor{0.46, 0.45, 0.44};
constexpr double kTile = 1.0;
constexpr double kFadeFrom = 3.0;  // where the ground begins to melt into the horizon
constexpr double kFadeTo = 26.0;

/// A faint checker that disappears where tiles become smaller than pixels.
Vec3 groundColor(const Vec3& point, double footprint) {
    const auto tile = static_cast<long>(std::floor(point.x / kTile) + std::floor(point.z / kTile));
    const double contrast = 0.09 * (1.0 - smoothStep(0.1 * kTile, 0.6 * kTile, footprint));
    return kGroundColor * (tile % 2 == 0 ? 1.0 + contrast : 1.0 - contrast);
}

/// A bent normal may still face a light that the surface turns away from. Without this fade the light would
/// end in a hard line there; an unbent normal gets 1. Source: the shadow terminator of Chiang, Li and Burley
double bentNormalFade(double facing, double trueFacing, double bend) {
    if (bend <= 0.0) return 0.0;
    const double g = std::min(1.0, trueFacing / (facing * bend));
    return g * (1.0 + g * (1.0 - g));
}

/// The share of the sky above a point of the ground that a resting sphere leaves free.
/// Source: the exact occlusion of a sphere for a point whose horizon it does not cross
double skyShare(const PosedMesh& sphere, const Vec3& point) {
    const Vec3 towards = sphere.toWorld.origin - point;
    const double distance = length(towards);
    if (distance <= sphere.mesh->size) return 1.0;
    const double sine = sphere.mesh->size / distance;
    return 1.0 - std::max(0.0, towards.y / distance) * sine * sine;
}

}  // namespace

Shading::Shading(const Pose& pose, const RayCaster& caster, ShaderHandle* shader)
    : pose_(pose), scene_(pose.scene()), caster_(caster), shader_(shader) {
    sample_.illuminate = PreviewServices::illuminateOperation();
    sample_.rayTrace = PreviewServices::rayTraceOperation();
}

void Shading::setPixel(std::int32_t x, std::int32_t y, double angle) noexcept {
    sample_.sx = x;
    sample_.sy = y;
    pixelAngle_ = angle;
}

Vec3 Shading::color(const Ray& ray, SampleStream& stream) {
    return radiance(ray, {}, stream);
}

Vec3 Shading::radiance(const Ray& ray, const Path& path, SampleStream& stream, double* distance) {
    const Hit hit = caster_.intersect(ray);
    if (distance != nullptr) *distance = hit.mesh == nullptr ? -1.0 : hit.distance;
    if (hit.mesh == nullptr) return scene_.sky.color(ray.direction);
    return hit.mesh->mesh->shape == MeshItem::Shape::Ground ? shadeGround(ray, hit, path, stream)
                                                            : shadeMesh(ray, hit, path, stream);
}

// ---- surfaces ----

Vec3 Shading::shadeGround(const Ray& ray, const Hit& hit, const Path& path, SampleStream& stream) {
    const double away = std::hypot(hit.point.x, hit.point.z);
    const double fade = smoothStep(kFadeFrom, kFadeTo, away);
    // The horizon's own colour, so that ground and sky meet without an edge.
    const Vec3 horizon = scene_.sky.color(normalize({ray.direction.x, 0.0, ray.direction.z}));
    if (fade >= 1.0) return horizon;
    const double footprint = (path.travelled + hit.distance) * pixelAngle_ /
                             std::max(0.02, std::abs(dot(hit.normal, ray.direction)));
    Surface surface;
    surface.normal = hit.normal;
    surface.color = groundColor(hit.point, footprint);
    surface.specular = 0.0;
    const Lit lit = directLight(hit.point, hit.normal, surface, -ray.direction, path, stream);
    const Vec3 seen = surface.color * (surface.diffuse * (lit.diffuse + ambientLight(hit.point, hit.normal)));
    return mix(seen, horizon, fade);
}

Vec3 Shading::shadeMesh(const Ray& ray, const Hit& hit, const Path& path, SampleStream& stream) {
    const Vec3 geometric = hit.inside ? -hit.normal : hit.normal;
    const Surface surface = surfaceAt(ray, hit, path);
    const Vec3 towardsEye = -ray.direction;

    const double opaque = (1.0 - surface.transparency) * (1.0 - surface.mirror);
    const Lit lit = directLight(hit.point, geometric, surface, towardsEye, path, stream);
    Vec3 seen = surface.color * (Vec3{1.0, 1.0, 1.0} * surface.luminous +
                                 (lit.diffuse + ambientLight(hit.point, surface.normal)) * surface.diffuse);
    seen = seen * opaque;
    if (surface.transparency > 0.0) {
        seen += throughGlass(ray, hit, geometric, surface, path, stream) *
                (surface.transparency * (1.0 - surface.mirror));
    }
    if (surface.mirror > 0.0) {
        seen += mirrored(ray, hit.point, geometric, surface, path, surface.mirror, stream) * surface.mirror;
    }
    return seen + lit.highlight * surface.specular;
}

/// The surface at a hit, as the script leaves it. The normals of a hit from inside point inwards, to the
/// viewer.
Surface Shading::surfaceAt(const Ray& ray, const Hit& hit, const Path& path) {
    Surface surface;
    surface.normal = hit.inside ? -hit.shadingNormal : hit.shadingNormal;
    if (shader_ == nullptr || hit.surface != 0 || scriptRuns_) return surface;
    fillSample(ray, hit, path, surface);
    scriptRuns_ = true;
    shader_->evaluate(sample_);
    scriptRuns_ = false;
    return surfaceFrom(sample_, mask_, surface);
}

void Shading::fillSample(const Ray& ray, const Hit& hit, const Path& path, const Surface& surface) {
    const Axes& axes = hit.mesh->axes;
    store(hit.objectPoint, sample_.oPos);
    store(hit.point, sample_.wPos);
    store(surface.normal, sample_.gNorm);
    sample_.cosine = -dot(surface.normal, ray.direction);
    sample_.spotSize = (path.travelled + hit.distance) * pixelAngle_;
    store(ray.origin, sample_.raySource);
    sample_.rayLength = hit.distance;
    const std::array<Vec3, 3> columns{axes.right, axes.up, axes.forward};
    for (std::size_t i = 0; i < 3; ++i) {
        const Vec3& c = columns[i];
        sample_.oXfrm[i] = c.x;
        sample_.oXfrm[3 + i] = c.y;
        sample_.oXfrm[6 + i] = c.z;
        store(c, std::span<double, 3>(sample_.wXfrm + 3 * i, 3));
    }
    sample_.objID = hit.mesh->mesh->item.id;
    sample_.polNum = hit.polygon;
    storeSurface(surface, sample_);
}

// ---- light ----

Vec3 Shading::ambientLight(const Vec3& point, const Vec3& normal) const {
    const PosedMesh& sphere = pose_.meshes.front();
    if (length(point - sphere.toWorld.origin) > 1.001 * sphere.mesh->size) {
        return scene_.sky.ambient(normal) * skyShare(sphere, point);
    }
    // On the sphere: the ground right below it lies in its shadow and sends little up.
    const double height = std::max(0.0, point.y);
    const double downwards = 0.5 - 0.5 * normal.y;
    return scene_.sky.ambient(normal) * (1.0 - downwards * (1.0 - height / (height + 0.25)));
}

Shading::Lit Shading::directLight(const Vec3& point, const Vec3& geometric, const Surface& surface,
                                  const Vec3& towardsEye, const Path& path, SampleStream& stream) {
    Lit lit;
    const double opaque = (1.0 - surface.transparency) * (1.0 - surface.mirror);
    const bool matters = surface.diffuse * opaque > 0.0 || surface.specular > 0.0;
    if (!matters || path.weight < kLeastWeight) return lit;
    const double exponent = highlightExponent(surface.roughness);
    for (const PosedLight& light : pose_.lights) {
        const Vec3 direction = normalize(light.position - point);
        const double facing = dot(surface.normal, direction);
        const double trueFacing = dot(geometric, direction);
        if (facing <= 0.0 || trueFacing <= 0.0) continue;
        const Vec3 arriving = light.color * lightShare(light, point, path, stream) *
                              bentNormalFade(facing, trueFacing, dot(surface.normal, geometric));
        lit.diffuse += arriving * facing;
        const double gloss = std::max(0.0, dot(surface.normal, normalize(direction + towardsEye)));
        // A wide highlight would end hard where the light sets; the factor lets it fade before.
        lit.highlight += arriving * (std::pow(gloss, exponent) * smoothStep(0.0, 0.12, facing));
    }
    return lit;
}

/// The share of a light that reaches a point, per colour: 1 in the open.
Vec3 Shading::lightShare(const PosedLight& light, const Vec3& point, const Path& path, SampleStream& stream) {
    const int grid = path.depth == 0 && !scriptRuns_ ? kShadowGrid : 1;
    const Axes axes = lookAt(point, light.position);
    Vec3 sum;
    Vec3 glass{};
    bool glassKnown = false;
    for (int i = 0; i < grid * grid; ++i) {
        const DiscPoint spot =
            concentricDisc((i % grid + stream.next()) / grid, (i / grid + stream.next()) / grid);
        const Vec3 source = light.position + axes.right * (light.light->radius * spot.x) +
                            axes.up * (light.light->radius * spot.y);
        const double distance = length(source - point);
        const Ray ray{point, (source - point) * (1.0 / distance), kShadowOffset, distance};
        if (caster_.intersect(ray).mesh == nullptr) {
            sum += Vec3{1.0, 1.0, 1.0};
            continue;
        }
        // What a transparent mesh lets through is much the same for all rays to one light.
        if (!glassKnown) {
            glass = passing(ray, path);
            glassKnown = true;
        }
        sum += glass;
    }
    return sum * (1.0 / (grid * grid));
}

/// What reaches the ray's origin through transparent surfaces, straight on.
Vec3 Shading::passing(const Ray& ray, const Path& path) {
    Vec3 share{1.0, 1.0, 1.0};
    Ray rest = ray;
    for (int i = 0; i < kDeepest; ++i) {
        const Hit hit = caster_.intersect(rest);
        if (hit.mesh == nullptr) return share;
        const bool askScript =
            hit.surface == 0 && shader_ != nullptr && !scriptRuns_ && mayBeTransparent(mask_);
        if (!askScript) break;
        const Surface surface = surfaceAt(rest, hit, path);
        if (surface.transparency <= 0.0) break;
        share *= surface.color * (surface.transparency * (hit.inside ? 1.0 : 0.94));
        rest.from = hit.distance + kShadowOffset;
    }
    return {};
}

Vec3 Shading::mirrored(const Ray& ray, const Vec3& point, const Vec3& geometric, const Surface& surface,
                       const Path& path, double share, SampleStream& stream) {
    const Path next{path.depth + 1, path.weight * share, path.travelled + length(point - ray.origin)};
    const bool end = next.depth > kDeepest || next.weight < kLeastWeight;
    const int grid = path.depth == 0 && surface.roughness > 0.0 ? kRoughGrid : 1;
    const Vec3 exact = reflect(ray.direction, surface.normal);
    Vec3 sum;
    for (int i = 0; i < grid * grid; ++i) {
        const double u = (i % grid + stream.next()) / grid;
        const double v = (i / grid + stream.next()) / grid;
        Vec3 direction = spread(exact, surface.roughness, u, v);
        // A bent normal or a rough surface may send the ray below the surface: it bounces off again.
        const double below = dot(direction, geometric);
        if (below < 0.0) direction = normalize(direction - geometric * (2.0 * below));
        sum += end ? scene_.sky.color(direction) : radiance({point, direction}, next, stream);
    }
    return sum * (1.0 / (grid * grid));
}

/// Light through the surface and the reflection that a clear boundary has of itself.
Vec3 Shading::throughGlass(const Ray& ray, const Hit& hit, const Vec3& geometric, const Surface& surface,
                           const Path& path, SampleStream& stream) {
    const double eta = surface.eta > 0.0 ? surface.eta : 1.0;
    const double ratio = hit.inside ? eta : 1.0 / eta;
    const double cosine = std::clamp(-dot(ray.direction, surface.normal), 0.0, 1.0);
    const std::optional<Vec3> bent = refract(ray.direction, surface.normal, ratio);
    // A boundary without a change of the index is no boundary, at any angle.
    const double reflected = !bent ? 1.0 : (ratio == 1.0 ? 0.0 : fresnel(cosine, ratio));
    Vec3 seen;
    if (reflected * path.weight >= kLeastWeight) {
        seen = mirrored(ray, hit.point, geometric, surface, path, reflected * surface.transparency, stream) *
               reflected;
    }
    if (!bent) return seen;
    const Path next{path.depth + 1, path.weight * (1.0 - reflected) * surface.transparency,
                    path.travelled + hit.distance};
    const Vec3 direction = spread(*bent, surface.roughness, stream.next(), stream.next());
    const Vec3 tint = hit.inside ? Vec3{1.0, 1.0, 1.0} : surface.color;
    const bool end = next.depth > kDeepest || next.weight < kLeastWeight;
    const Vec3 behind = end ? scene_.sky.color(direction) : radiance({hit.point, direction}, next, stream);
    return seen + tint * behind * (1.0 - reflected);
}

// ---- what scripts ask ----

void Shading::illuminate(HostItemID light, const Vec3& point, Vec3& vector, Vec3& color) {
    color = {};
    const PosedLight* item = pose_.light(light);
    if (item == nullptr) return;
    const Vec3 towards = item->position - point;
    const double distance = length(towards);
    if (!(distance > 0.0) || !finite(towards)) return;
    vector = towards * (-1.0 / distance);
    const Ray ray{point, -vector, kShadowOffset, distance};
    if (caster_.intersect(ray).mesh == nullptr) color = item->color;
}

double Shading::traceRay(const Vec3& point, const Vec3& direction, Vec3& color) {
    color = {};
    if (!finite(point) || !finite(direction) || length(direction) == 0.0) return -1.0;
    SampleStream stream(sample_.sx, sample_.sy, 0);
    const bool nested = scriptRuns_;
    scriptRuns_ = true;
    double distance = -1.0;
    color = radiance({point, normalize(direction), kShadowOffset}, {1, 1.0, 0.0}, stream, &distance);
    scriptRuns_ = nested;
    return distance;
}

}  // namespace kestrel::preview
