#include "preview/render/optics.h"

#include <numbers>

namespace kestrel::preview {

Vec3 reflect(const Vec3& direction, const Vec3& normal) {
    return direction - normal * (2.0 * dot(direction, normal));
}

std::optional<Vec3> refract(const Vec3& direction, const Vec3& normal, double ratio) {
    const double cosine = -dot(direction, normal);
    const double behind = 1.0 - ratio * ratio * (1.0 - cosine * cosine);
    if (behind < 0.0) return std::nullopt;
    return normalize(direction * ratio + normal * (ratio * cosine - std::sqrt(behind)));
}

double fresnel(double cosine, double ratio) {
    const double behind = 1.0 - ratio * ratio * (1.0 - cosine * cosine);
    if (behind <= 0.0) return 1.0;
    const double cosineBehind = std::sqrt(behind);
    const double parallel = (cosine - ratio * cosineBehind) / (cosine + ratio * cosineBehind);
    const double across = (ratio * cosine - cosineBehind) / (ratio * cosine + cosineBehind);
    return 0.5 * (parallel * parallel + across * across);
}

double highlightExponent(double roughness) {
    return std::exp2(9.0 - 7.0 * std::clamp(roughness, 0.0, 1.0));
}

Vec3 spread(const Vec3& direction, double roughness, double u, double v) {
    if (roughness <= 0.0) return direction;
    const Axes axes = around(direction);
    const DiscPoint p = concentricDisc(u, v);
    const double width = 0.7 * std::min(roughness, 1.0);
    return normalize(direction + axes.right * (width * p.x) + axes.up * (width * p.y));
}

Axes around(const Vec3& direction) {
    const double sign = std::copysign(1.0, direction.z);
    const double a = -1.0 / (sign + direction.z);
    const double b = direction.x * direction.y * a;
    return {{1.0 + sign * direction.x * direction.x * a, sign * b, -sign * direction.x},
            {b, sign + direction.y * direction.y * a, -direction.y},
            direction};
}

Vec3 cosineDirection(const Vec3& normal, double u, double v) {
    const DiscPoint p = concentricDisc(u, v);
    const double height = std::sqrt(std::max(0.0, 1.0 - p.x * p.x - p.y * p.y));
    return around(normal).toWorld({p.x, p.y, height});
}

double polish(double cosine) {
    const double rest = 1.0 - std::clamp(cosine, 0.0, 1.0);
    const double square = rest * rest;
    return 0.04 + 0.96 * square * square * rest;
}

DiscPoint concentricDisc(double u, double v) {
    const double x = 2.0 * u - 1.0;
    const double y = 2.0 * v - 1.0;
    if (x == 0.0 && y == 0.0) return {0.0, 0.0};
    constexpr double kQuarter = std::numbers::pi / 4.0;
    const bool flat = std::abs(x) > std::abs(y);
    const double radius = flat ? x : y;
    const double angle = flat ? kQuarter * (y / x) : 2.0 * kQuarter - kQuarter * (x / y);
    return {radius * std::cos(angle), radius * std::sin(angle)};
}

}  // namespace kestrel::preview
