// Three-component vectors: positions, directions and linear colours.
#pragma once

#include <algorithm>
#include <cmath>
#include <span>

namespace kestrel::preview {

struct Vec3 {
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
};

constexpr Vec3 operator+(const Vec3& a, const Vec3& b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
constexpr Vec3 operator-(const Vec3& a, const Vec3& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
constexpr Vec3 operator-(const Vec3& a) {
    return {-a.x, -a.y, -a.z};
}
constexpr Vec3 operator*(const Vec3& a, const Vec3& b) {
    return {a.x * b.x, a.y * b.y, a.z * b.z};
}
constexpr Vec3 operator*(const Vec3& a, double s) {
    return {a.x * s, a.y * s, a.z * s};
}
constexpr Vec3 operator*(double s, const Vec3& a) {
    return a * s;
}
constexpr Vec3& operator+=(Vec3& a, const Vec3& b) {
    return a = a + b;
}
constexpr Vec3& operator*=(Vec3& a, const Vec3& b) {
    return a = a * b;
}
constexpr bool operator==(const Vec3& a, const Vec3& b) {
    return a.x == b.x && a.y == b.y && a.z == b.z;
}

constexpr double dot(const Vec3& a, const Vec3& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
constexpr Vec3 cross(const Vec3& a, const Vec3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double length(const Vec3& a) {
    return std::sqrt(dot(a, a));
}
/// @return the unit vector, or `a` itself when its length is 0
inline Vec3 normalize(const Vec3& a) {
    const double n = length(a);
    return n > 0.0 ? a * (1.0 / n) : a;
}
constexpr Vec3 mix(const Vec3& a, const Vec3& b, double t) {
    return a * (1.0 - t) + b * t;
}
constexpr double largest(const Vec3& a) {
    return std::max({a.x, a.y, a.z});
}
inline bool finite(const Vec3& a) {
    return std::isfinite(a.x) && std::isfinite(a.y) && std::isfinite(a.z);
}

/// 0 below `from`, 1 above `to`, an S-curve between.
constexpr double smoothStep(double from, double to, double x) {
    const double t = std::clamp((x - from) / (to - from), 0.0, 1.0);
    return t * t * (3.0 - 2.0 * t);
}

constexpr Vec3 toVec(std::span<const double, 3> v) {
    return {v[0], v[1], v[2]};
}
constexpr void store(const Vec3& v, std::span<double, 3> out) {
    out[0] = v.x;
    out[1] = v.y;
    out[2] = v.z;
}

/// The axes of an item in world space; unit length, perpendicular. y is up, z points away from the viewer.
struct Axes {
    Vec3 right{1.0, 0.0, 0.0};
    Vec3 up{0.0, 1.0, 0.0};
    Vec3 forward{0.0, 0.0, 1.0};

    [[nodiscard]] constexpr Vec3 toWorld(const Vec3& v) const {
        return right * v.x + up * v.y + forward * v.z;
    }
    [[nodiscard]] constexpr Vec3 toObject(const Vec3& v) const {
        return {dot(v, right), dot(v, up), dot(v, forward)};
    }
};

/// Axes whose forward points from one place to another, with up as near to the world's up as it gets.
[[nodiscard]] inline Axes lookAt(const Vec3& from, const Vec3& to) {
    Axes axes;
    axes.forward = normalize(to - from);
    const Vec3 side = cross(Vec3{0.0, 1.0, 0.0}, axes.forward);
    axes.right = length(side) > 1e-9 ? normalize(side) : Vec3{1.0, 0.0, 0.0};
    axes.up = cross(axes.forward, axes.right);
    return axes;
}

}  // namespace kestrel::preview
