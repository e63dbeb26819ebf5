#include "preview/render/shading.h"

#include "preview/render/optics.h"

#include <numbers>
#include <utility>

namespace kestrel::preview {

namespace {

constexpr int kDeepest = 8;  // rays that follow from one camera ray
constexpr int kBounces = 2;  // of them, scattered ones
constexpr int kForks = 2;    // before it, both the reflected and the refracted ray are followed
constexpr double kLeastWeight = 1.0 / 256;  // what cannot change a pixel by one step is not followed
constexpr double kBrightestBounce =
    8.0;  // scattered light beyond it comes from rare rays, which would be specks
constexpr double kBrightestBlur = 8.0;
constexpr double kBrightestSample = 64.0;
constexpr std::size_t kFewLights = 3;     // scattered rays look at one light of more, chosen by chance
constexpr double kThroughSurface = 0.94;  // of light straight through a transparent surface into a mesh

/// A bent normal may still face a light that the surface turns away from. Without this fade the light would
/// end in a hard line there; an unbent normal gets 1. Source: the shadow terminator of Chiang, Li and Burley
double bentNormalFade(double facing, double trueFacing, double bend) {
    if (bend <= 0.0) return 0.0;
    const double g = std::min(1.0, trueFacing / (facing * bend));
    return g * (1.0 + g * (1.0 - g));
}

/// Veach's power heuristic.
double shareOf(double density, double other) {
    const double square = density * density;
    return square > 0.0 ? square / (square + other * other) : 0.0;
}

Vec3 atMost(const Vec3& color, double most) {
    const double peak = largest(color);
    return peak > most ? color * (most / peak) : color;
}

constexpr std::uint32_t kCastsShadow = 2;
constexpr std::uint32_t kShadowsItself = 1;
constexpr std::uint32_t kReceivesShadow = 4;
constexpr std::uint32_t kAllShadows = kCastsShadow | kShadowsItself | kReceivesShadow;

}  // namespace

Shading::Shading(const Pose& pose, const RayCaster& caster, std::span<const SurfaceShader> shaders)
    : pose_(pose),
      scene_(pose.scene()),
      caster_(caster),
      surfaces_(pose.scene(), shaders),
      environment_(pose.scene().sky) {
    for (const PosedLight& light : pose_.lights) {
        if (seenInReflections(light)) areas_.push_back(&light);
    }
    for (const PosedMesh& mesh : pose_.meshes) {
        if ((mesh.mesh->shadows & kAllShadows) != kAllShadows || mesh.dissolve > 0.0) plainShadows_ = false;
    }
}

void Shading::setPixel(std::int32_t x, std::int32_t y, double angle, double width) noexcept {
    x_ = x;
    y_ = y;
    pixelAngle_ = angle;
    pixelWidth_ = width;
}

void Shading::look(const Ray& ray, const PixelSampler& sampler) {
    look_ = Look{};
    look_.ray = ray;
    look_.sampler = sampler;
}

Vec3 Shading::light(const PixelSampler& sampler, const PixelSampler& rare) {
    if (look_.rare != rare) look_.bounced.reset();
    look_.rare = rare;
    ++surfaces_.statistics().samples;
    if (!look_.hit) {
        sampler_ = look_.sampler;
        look_.hit = nearest(look_.ray, {});
        if (look_.hit->mesh != nullptr) look_.surface = surfaceAt(look_.ray, *look_.hit, {});
    }
    sampler_ = sampler;
    const Vec3 light = cameraLight();
    if (finite(light)) return atMost(light, kBrightestSample);
    ++surfaces_.statistics().badSamples;
    return {};
}

Vec3 Shading::cameraLight() {
    const Path path;
    if (look_.hit->mesh == nullptr) return fromFar(look_.ray.direction, path);
    return shade({look_.ray, *look_.hit, path, look_.surface});
}

// ---- rays ----

UnitPoint Shading::chance(const Path& path, Choice choice, std::uint32_t number) const {
    return sampler_.at((path.branch << 8) + static_cast<std::uint32_t>(choice) + number + 1);
}

Shading::Path Shading::following(const Place& place, std::uint32_t way, double share) {
    Path next = place.path;
    ++next.depth;
    next.weight *= share;
    next.travelled += place.hit.distance;
    next.density = 0.0;
    next.branch = place.path.branch * 5 + way;
    return next;
}

/// A bent normal or a rough surface may send a ray below the surface: it bounces off again.
Ray Shading::leaving(const Place& place, const Vec3& direction) {
    const double below = dot(direction, place.geometric);
    return {place.hit.point, below < 0.0 ? normalize(direction - place.geometric * (2.0 * below)) : direction,
            place.hit.margin};
}

/// The nearest hit that is there: a mesh that dissolves lets its share of rays through.
Hit Shading::nearest(const Ray& ray, const Path& path) {
    Ray rest = ray;
    double passed = 1.0;  // of the chance that is left
    while (true) {
        ++surfaces_.statistics().rays;
        Hit hit = caster_.intersect(rest);
        if (hit.mesh == nullptr || hit.mesh->dissolve <= 0.0) return hit;
        // One number decides for all layers: what the first leaves of it is evenly spread again.
        passed *= hit.mesh->dissolve;
        if (chance(path, Choice::Dissolve).u >= passed) return hit;
        rest.from = hit.distance + hit.margin;
    }
}

Vec3 Shading::radiance(const Ray& ray, const Path& path, double* distance) {
    const Hit hit = nearest(ray, path);
    if (distance != nullptr) *distance = hit.mesh == nullptr ? -1.0 : hit.distance;
    const double end = hit.mesh == nullptr ? ray.to : hit.distance;
    if (const std::optional<SeenLight> area = areaSeen(ray, path, end)) return area->color;
    if (hit.mesh == nullptr) return fromFar(ray.direction, path);
    const Surface surface = surfaceAt(ray, hit, path);
    return shade({ray, hit, path, surface});
}

Vec3 Shading::fromFar(const Vec3& direction, const Path& path) const {
    if (!path.skyCounts) return {};
    const Vec3 light = scene_.sky.color(direction);
    if (path.density <= 0.0 || !environment_.varied()) return light;
    return light * shareOf(path.density, environment_.density(direction));
}

/// Areas show in mirrors and glass. The camera looks through them; scattered rays leave them to
/// directLight(), also by way of a mirror: what a small mirror casts would be specks.
std::optional<SeenLight> Shading::areaSeen(const Ray& ray, const Path& path, double before) const {
    if (path.depth == 0 || path.bounces > 0) return std::nullopt;
    Ray rest = ray;
    rest.to = before;
    std::optional<SeenLight> nearestLight;
    for (const PosedLight* light : areas_) {
        if (const std::optional<SeenLight> found = seen(*light, rest)) {
            nearestLight = found;
            rest.to = found->distance;
        }
    }
    return nearestLight;
}

// ---- surfaces ----

Surface Shading::surfaceAt(const Ray& ray, const Hit& hit, const Path& path) {
    const double spot = (path.travelled + hit.distance) * pixelAngle_ + pixelWidth_;
    const Path before = std::exchange(asking_, path);
    const Surface surface = surfaces_.at({ray, hit, spot, x_, y_});
    asking_ = before;
    return surface;
}

Vec3 Shading::shade(const Place& place) {
    const Surface& surface = place.surface;
    const Path& path = place.path;
    const double opaque = (1.0 - surface.transparency) * (1.0 - surface.mirror);
    const double scattered = surface.diffuse * opaque;
    Vec3 light = surface.color * (surface.luminous * opaque);
    const bool scatters = scattered * path.weight * std::min(1.0, largest(surface.color)) >= kLeastWeight;
    Lit lit;
    if (scatters || surface.specular > 0.0) lit = directLight(place, scatters);
    if (scatters) {
        light +=
            surface.color * ((lit.diffuse + skyLight(place) + bouncedLight(place, scattered)) * scattered);
    }
    light += lit.highlight * surface.specular;
    if (path.depth > 0 || surface.roughness > 0.0) return light + reflectedAndRefracted(place);
    if (!look_.smooth) {
        const PixelSampler sampler = std::exchange(sampler_, look_.sampler);
        look_.smooth = reflectedAndRefracted(place);
        sampler_ = sampler;
    }
    return light + *look_.smooth;
}

Vec3 Shading::reflectedAndRefracted(const Place& place) {
    const Surface& surface = place.surface;
    const Path& path = place.path;
    Vec3 light;
    const double lacquer = surface.specular * (1.0 - surface.transparency) * (1.0 - surface.mirror) *
                           polish(dot(surface.normal, place.towardsEye()));
    if (lacquer * path.weight >= kLeastWeight && path.bounces == 0 && path.depth < kForks) {
        light += mirrored(place, Choice::Polish, 1, lacquer) * lacquer;
    }
    if (surface.transparency > 0.0) {
        light += throughGlass(place) * (surface.transparency * (1.0 - surface.mirror));
    }
    if (surface.mirror > 0.0) light += mirrored(place, Choice::Mirror, 2, surface.mirror) * surface.mirror;
    return light;
}

// ---- light ----

Shading::Lit Shading::directLight(const Place& place, bool scatters) {
    Lit lit;
    const std::size_t count = pose_.lights.size();
    if (place.path.bounces > 0 && count > kFewLights) {
        const double pick = chance(place.path, Choice::Light).u * static_cast<double>(count);
        const auto number = std::min(static_cast<std::size_t>(pick), count - 1);
        addLight(place, pose_.lights[number], chance(place.path, Choice::Lights), scatters,
                 static_cast<double>(count), lit);
        return lit;
    }
    std::uint32_t number = 0;
    for (const PosedLight& light : pose_.lights) {
        addLight(place, light, chance(place.path, Choice::Lights, number++), scatters, 1.0, lit);
    }
    return lit;
}

void Shading::addLight(const Place& place, const PosedLight& light, UnitPoint spot, bool scatters,
                       double share, Lit& lit) {
    const Surface& surface = place.surface;
    const bool shines = surface.specular > 0.0 && !seenInReflections(light) && place.path.bounces == 0;
    if (!scatters && !shines) return;
    const std::optional<Arriving> from = arriving(light, place.hit.point, spot);
    if (!from) return;
    const double facing = dot(surface.normal, from->direction);
    const double trueFacing = dot(place.geometric, from->direction);
    if (facing <= 0.0 || trueFacing <= 0.0) return;
    Vec3 color =
        from->color * (share * bentNormalFade(facing, trueFacing, dot(surface.normal, place.geometric)));
    if (light.light->shadow != LightItem::Shadow::None) {
        color *= passing({place.hit.point, from->direction, place.hit.margin, from->distance}, place);
    }
    lit.diffuse += color * facing;
    if (!shines) return;
    const double gloss = std::max(0.0, dot(surface.normal, normalize(from->direction + place.towardsEye())));
    // A wide highlight would end hard where the light sets; the factor lets it fade before.
    lit.highlight +=
        color * (std::pow(gloss, highlightExponent(surface.roughness)) * smoothStep(0.0, 0.12, facing));
}

/// The sky's light from a direction in which it is bright.
Vec3 Shading::skyLight(const Place& place) {
    if (!environment_.varied()) return {};
    const Environment::Drawn drawn = environment_.draw(chance(place.path, Choice::Sky));
    const double facing = dot(place.surface.normal, drawn.direction);
    if (facing <= 0.0 || dot(place.geometric, drawn.direction) <= 0.0 || drawn.density <= 0.0) return {};
    // Where no scattered ray goes, there is nothing to share with.
    const double density = place.path.bounces < kBounces ? facing / std::numbers::pi : 0.0;
    const Vec3 light = scene_.sky.color(drawn.direction) *
                       (facing / (std::numbers::pi * drawn.density) * shareOf(drawn.density, density));
    if (largest(light) <= 0.0) return {};
    return light * passing({place.hit.point, drawn.direction, place.hit.margin}, place);
}

/// Light that other surfaces send, and the sky's light from directions that a scattered ray finds.
Vec3 Shading::bouncedLight(const Place& place, double share) {
    if (place.path.depth > 0) return scatteredRay(place, share);
    if (!look_.bounced) {
        const PixelSampler sampler = std::exchange(sampler_, look_.rare);
        look_.bounced = scatteredRay(place, share);
        sampler_ = sampler;
    }
    return *look_.bounced;
}

Vec3 Shading::scatteredRay(const Place& place, double share) {
    if (place.path.bounces >= kBounces || place.path.depth >= kDeepest) return {};
    const UnitPoint u = chance(place.path, Choice::Bounce);
    const Vec3 direction = cosineDirection(place.surface.normal, u.u, u.v);
    if (dot(direction, place.geometric) <= 0.0) return {};
    const double weight = share * std::min(1.0, largest(place.surface.color));
    // After the first one, a ray is followed as likely as what it brings would count.
    const double survival = place.path.bounces == 0 ? 1.0 : std::min(1.0, weight);
    if (survival < 1.0 && chance(place.path, Choice::Survival).u >= survival) return {};
    Path next = following(place, 0, weight);
    ++next.bounces;
    next.density = std::max(dot(direction, place.surface.normal), 1e-6) / std::numbers::pi;
    next.skyCounts = true;
    const Vec3 light = radiance({place.hit.point, direction, place.hit.margin}, next) * (1.0 / survival);
    return atMost(light, kBrightestBounce);
}

/// The share of light that gets along a ray to the place, through transparent surfaces straight on.
Vec3 Shading::passing(const Ray& ray, const Place& place) {
    if ((place.hit.mesh->mesh->shadows & kReceivesShadow) == 0) return {1.0, 1.0, 1.0};
    ++surfaces_.statistics().rays;
    if (!caster_.occluded(ray)) return {1.0, 1.0, 1.0};
    if (plainShadows_ && !surfaces_.anyMayBeTransparent()) return {};
    Vec3 share{1.0, 1.0, 1.0};
    Ray rest = ray;
    for (int i = 0; i < kDeepest; ++i) {
        ++surfaces_.statistics().rays;
        const Hit hit = caster_.intersect(rest);
        if (hit.mesh == nullptr) return share;
        const MeshItem& mesh = *hit.mesh->mesh;
        const std::uint32_t casts = hit.mesh == place.hit.mesh ? kShadowsItself : kCastsShadow;
        rest.from = hit.distance + hit.margin;
        if ((mesh.shadows & casts) == 0) continue;
        Vec3 through;
        if (surfaces_.mayBeTransparent(hit.surface)) {
            const Surface surface = surfaceAt(rest, hit, place.path);
            through = surface.color * (surface.transparency * (hit.inside ? 1.0 : kThroughSurface));
        }
        share *= mix(through, Vec3{1.0, 1.0, 1.0}, hit.mesh->dissolve);
        if (largest(share) < kLeastWeight) break;
    }
    return {};
}

Vec3 Shading::mirrored(const Place& place, Choice choice, std::uint32_t way, double share) {
    const Path next = following(place, way, share);
    const UnitPoint u = chance(place.path, choice);
    const Vec3 exact = reflect(place.ray.direction, place.surface.normal);
    const Ray ray = leaving(place, spread(exact, place.surface.roughness, u.u, u.v));
    const bool end = next.depth > kDeepest || next.weight < kLeastWeight;
    if (end) return atMost(fromFar(ray.direction, next), 1.0);
    // A few spread rays that meet a lamp would be specks, too.
    const Vec3 light = radiance(ray, next);
    return place.surface.roughness > 0.0 ? atMost(light, kBrightestBlur) : light;
}

/// Light through the surface and the reflection that a clear boundary has of itself. Rays that come late in a
/// path follow one of the two, chosen by chance.
Vec3 Shading::throughGlass(const Place& place) {
    const Surface& surface = place.surface;
    const Path& path = place.path;
    const double eta = surface.eta > 0.0 ? surface.eta : 1.0;
    const double ratio = place.hit.inside ? eta : 1.0 / eta;
    const double cosine = std::clamp(dot(place.towardsEye(), surface.normal), 0.0, 1.0);
    const std::optional<Vec3> bent = refract(place.ray.direction, surface.normal, ratio);
    // A boundary without a change of the index is no boundary, at any angle.
    const double reflected = !bent ? 1.0 : (ratio == 1.0 ? 0.0 : fresnel(cosine, ratio));
    const bool one = path.depth >= kForks && reflected < 1.0;
    const bool mirrors = !one || chance(path, Choice::Side).u < reflected;
    Vec3 light;
    if (mirrors && reflected * path.weight >= kLeastWeight) {
        light =
            mirrored(place, Choice::Mirror, 3, reflected * surface.transparency) * (one ? 1.0 : reflected);
    }
    if (!bent || (one && mirrors)) return light;
    Path next = following(place, 4, (1.0 - reflected) * surface.transparency);
    // The light that shines through onto a scattering surface is that of passing().
    if (path.bounces > 0) next.skyCounts = false;
    const UnitPoint u = chance(path, Choice::Glass);
    const Vec3 direction = spread(*bent, surface.roughness, u.u, u.v);
    const Vec3 tint = place.hit.inside ? Vec3{1.0, 1.0, 1.0} : surface.color;
    const bool end = next.depth > kDeepest || next.weight < kLeastWeight;
    const Vec3 behind = end ? atMost(fromFar(direction, next), 1.0)
                            : radiance({place.hit.point, direction, place.hit.margin}, next);
    return light + tint * behind * (one ? 1.0 : 1.0 - reflected);
}

// ---- what scripts ask ----

void Shading::illuminate(HostItemID light, const Vec3& point, Vec3& vector, Vec3& color) {
    color = {};
    const PosedLight* item = pose_.light(light);
    if (item == nullptr || !finite(point)) return;
    const bool distant = item->light->type == LightItem::Type::Distant;
    const Vec3 towards = distant ? -item->axes.forward : item->position - point;
    const double distance = length(towards);
    if (!(distance > 0.0) || !std::isfinite(distance)) return;
    vector = towards * (-1.0 / distance);
    const std::optional<Arriving> from = arriving(*item, point, {0.5, 0.5});
    if (!from) return;
    ++surfaces_.statistics().rays;
    const Ray ray{point, from->direction, caster_.marginAt(point), from->distance};
    if (item->light->shadow == LightItem::Shadow::None || !caster_.occluded(ray)) color = from->color;
}

double Shading::traceRay(const Vec3& point, const Vec3& direction, Vec3& color) {
    color = {};
    if (!finite(point) || !finite(direction) || length(direction) == 0.0) return -1.0;
    const bool outside = !surfaces_.scriptRuns();
    if (outside) surfaces_.setPlain(true);
    Path path = outside ? Path{} : asking_;
    ++path.depth;
    path.branch = path.branch * 5 + 1;
    path.density = 0.0;
    path.skyCounts = true;
    double distance = -1.0;
    color = radiance({point, normalize(direction), caster_.marginAt(point)}, path, &distance);
    if (outside) surfaces_.setPlain(false);
    if (!finite(color)) color = {};
    return distance;
}

}  // namespace kestrel::preview
