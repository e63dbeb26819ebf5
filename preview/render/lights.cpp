#include "preview/render/lights.h"

#include "preview/render/optics.h"

#include <numbers>

namespace kestrel::preview {

namespace {

using Type = LightItem::Type;

constexpr double kNearest =
    1e-3;  // light that falls off by the square gets no brighter than at this distance
constexpr double kBrightest = 64.0;  // of an area light in a mirror: a tiny area would have no bound
constexpr double kSoftRim = 0.06;    // share of an area's half side

double falloff(const LightItem& light, double distance) {
    switch (light.falloff) {
        case LightItem::Falloff::None:
            return 1.0;
        case LightItem::Falloff::Linear:
            return light.range > 0.0 ? std::max(0.0, 1.0 - distance / light.range) : 0.0;
        case LightItem::Falloff::Square:
            break;
    }
    const double ratio = light.range / std::max(distance, kNearest);
    return ratio * ratio;
}

/// How much of its light a light sends into a direction.
/// @param away  unit vector away from the light
double emission(const PosedLight& light, const Vec3& away) {
    const LightItem& item = *light.light;
    switch (item.type) {
        case Type::Distant:
        case Type::Point:
            return 1.0;
        case Type::Spot: {
            const double angle = std::acos(std::clamp(dot(light.axes.forward, away), -1.0, 1.0));
            if (angle >= item.coneRadius) return 0.0;
            const double edge = std::clamp(item.coneEdge, 0.0, item.coneRadius);
            return edge > 0.0 ? smoothStep(0.0, edge, item.coneRadius - angle) : 1.0;
        }
        case Type::Linear: {
            const double along = dot(light.axes.right, away);
            return std::sqrt(std::max(0.0, 1.0 - along * along));
        }
        case Type::Area:
            break;
    }
    return std::max(0.0, dot(light.axes.forward, away));
}

Vec3 placeOn(const PosedLight& light, const Vec3& point, UnitPoint place) {
    const LightItem& item = *light.light;
    if (item.type == Type::Linear) return light.position + light.axes.right * (item.size.x * (place.u - 0.5));
    if (item.type == Type::Area) {
        return light.position + light.axes.right * (item.size.x * (place.u - 0.5)) +
               light.axes.up * (item.size.y * (place.v - 0.5));
    }
    if (!(item.radius > 0.0)) return light.position;
    const Vec3 towards = normalize(light.position - point);
    if (length(towards) == 0.0) return light.position;
    const Axes axes = around(towards);
    const DiscPoint p = concentricDisc(place.u, place.v);
    return light.position + axes.right * (item.radius * p.x) + axes.up * (item.radius * p.y);
}

Arriving fromFarAway(const PosedLight& light, UnitPoint place) {
    Vec3 direction = -light.axes.forward;
    if (light.light->radius > 0.0) {
        const Axes axes = around(direction);
        const DiscPoint p = concentricDisc(place.u, place.v);
        const double width = std::tan(std::min(light.light->radius, 1.5));
        direction = normalize(direction + axes.right * (width * p.x) + axes.up * (width * p.y));
    }
    return {direction, std::numeric_limits<double>::infinity(), light.color};
}

}  // namespace

std::optional<Arriving> arriving(const PosedLight& light, const Vec3& point, UnitPoint place) {
    if (light.light->type == Type::Distant) return fromFarAway(light, place);
    const Vec3 towards = placeOn(light, point, place) - point;
    const double distance = length(towards);
    if (!(distance > 0.0) || !std::isfinite(distance)) return std::nullopt;
    const Vec3 direction = towards * (1.0 / distance);
    const double strength = falloff(*light.light, distance) * emission(light, -direction);
    const Vec3 color = light.color * strength;
    if (!(strength > 0.0) || !finite(color)) return std::nullopt;
    return Arriving{direction, distance, color};
}

bool seenInReflections(const PosedLight& light) {
    return light.light->type == Type::Area && light.light->size.x > 0.0 && light.light->size.y > 0.0;
}

std::optional<SeenLight> seen(const PosedLight& light, const Ray& ray) {
    const double facing = -dot(light.axes.forward, ray.direction);
    if (facing <= 0.0) return std::nullopt;
    const double distance = dot(ray.origin - light.position, light.axes.forward) / facing;
    if (!(distance > ray.from) || !(distance < ray.to)) return std::nullopt;
    const Vec3 place = ray.origin + ray.direction * distance - light.position;
    const Vec3& size = light.light->size;
    const double across = 1.0 - std::abs(dot(place, light.axes.right)) / (0.5 * size.x);
    const double along = 1.0 - std::abs(dot(place, light.axes.up)) / (0.5 * size.y);
    if (!(across > 0.0) || !(along > 0.0)) return std::nullopt;
    // The brightness at which the whole area sends to this distance what arriving() says.
    const double strength =
        std::numbers::pi * falloff(*light.light, distance) * distance * distance / (size.x * size.y);
    const Vec3 color =
        light.color * (strength * smoothStep(0.0, kSoftRim, across) * smoothStep(0.0, kSoftRim, along));
    if (!finite(color)) return std::nullopt;
    return SeenLight{
        distance,
        {std::min(color.x, kBrightest), std::min(color.y, kBrightest), std::min(color.z, kBrightest)}};
}

}  // namespace kestrel::preview
