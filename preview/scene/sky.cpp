#include "preview/scene/sky.h"

#include <numbers>

namespace kestrel::preview {

namespace {

/// How much of its brightness the sky gives off as light: less than all, so that the key light models the
/// shapes.
constexpr double kSkyLight = 0.62;

}  // namespace

Vec3 Panorama::color(const Vec3& direction) const {
    using std::numbers::pi;
    const double longitude = std::atan2(direction.x, direction.z) / (2.0 * pi) + 0.5;
    const double latitude = std::acos(std::clamp(direction.y, -1.0, 1.0)) / pi;
    const double x = longitude * width - 0.5;
    const double y = std::clamp(latitude * height - 0.5, 0.0, height - 1.0);
    const double left = std::floor(x);
    const int row = std::min(static_cast<int>(y), std::max(0, height - 2));
    const auto at = [&](int column, int line) {
        const int wrapped = (column % width + width) % width;  // the picture closes upon itself
        const int clamped = std::min(line, height - 1);
        return toVec(pixels[static_cast<std::size_t>(clamped) * static_cast<std::size_t>(width) +
                            static_cast<std::size_t>(wrapped)]);
    };
    const int column = static_cast<int>(left);
    return mix(mix(at(column, row), at(column + 1, row), x - left),
               mix(at(column, row + 1), at(column + 1, row + 1), x - left), y - row);
}

Vec3 Softbox::light(const Vec3& direction) const {
    const double ahead = dot(direction, axes.forward);
    if (ahead <= 0.0) return {};
    const double across = std::abs(dot(direction, axes.right)) / ahead;
    const double along = std::abs(dot(direction, axes.up)) / ahead;
    if (across >= halfWidth || along >= halfHeight) return {};
    return color * (smoothStep(0.0, edge, halfWidth - across) * smoothStep(0.0, edge, halfHeight - along));
}

Vec3 Sky::color(const Vec3& direction) const {
    if (panorama != nullptr) {
        const double c = std::cos(turn);
        const double s = std::sin(turn);
        return panorama->color(
                   {c * direction.x - s * direction.z, direction.y, s * direction.x + c * direction.z}) *
               strength;
    }
    const double height = std::clamp(direction.y, 0.0, 1.0);
    const double towardsGlow = std::max(0.0, dot(direction, glowDirection));
    Vec3 light = mix(horizon, zenith, std::pow(height, 0.6)) + glow * smoothStep(0.90, 0.985, towardsGlow);
    for (const Softbox& softbox : softboxes) light += softbox.light(direction);
    return light;
}

Vec3 Sky::ambient(const Vec3& normal) const {
    // Half of the gradient's light comes from around the horizon, so the average is near its middle.
    return mix(bounce, mix(horizon, zenith, 0.4) * kSkyLight, 0.5 + 0.5 * normal.y);
}

}  // namespace kestrel::preview
