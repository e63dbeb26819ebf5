#include "preview/math/transform.h"

namespace kestrel::preview {

Axes Quaternion::axes() const {
    Axes result;
    result.right = {1.0 - 2.0 * (y * y + z * z), 2.0 * (x * y + w * z), 2.0 * (x * z - w * y)};
    result.up = {2.0 * (x * y - w * z), 1.0 - 2.0 * (x * x + z * z), 2.0 * (y * z + w * x)};
    result.forward = {2.0 * (x * z + w * y), 2.0 * (y * z - w * x), 1.0 - 2.0 * (x * x + y * y)};
    return result;
}

Quaternion blend(const Quaternion& a, const Quaternion& b, double t) {
    double cosine = a.x * b.x + a.y * b.y + a.z * b.z + a.w * b.w;
    const double side = cosine < 0.0 ? -1.0 : 1.0;
    cosine *= side;
    double shareA = 1.0 - t;
    double shareB = t;
    if (cosine < 0.9995) {
        const double angle = std::acos(cosine);
        shareA = std::sin((1.0 - t) * angle) / std::sin(angle);
        shareB = std::sin(t * angle) / std::sin(angle);
    }
    shareB *= side;
    const Quaternion sum{a.x * shareA + b.x * shareB, a.y * shareA + b.y * shareB,
                         a.z * shareA + b.z * shareB, a.w * shareA + b.w * shareB};
    const double size = std::sqrt(sum.x * sum.x + sum.y * sum.y + sum.z * sum.z + sum.w * sum.w);
    if (!(size > 0.0)) return a;
    return {sum.x / size, sum.y / size, sum.z / size, sum.w / size};
}

Axes axesFromAngles(const Vec3& angles) {
    const double ch = std::cos(angles.x);
    const double sh = std::sin(angles.x);
    const double cp = std::cos(angles.y);
    const double sp = std::sin(angles.y);
    const double cb = std::cos(angles.z);
    const double sb = std::sin(angles.z);
    Axes axes;
    axes.right = {ch * cb + sh * sp * sb, cp * sb, ch * sp * sb - sh * cb};
    axes.up = {sh * sp * cb - ch * sb, cp * cb, sh * sb + ch * sp * cb};
    axes.forward = {sh * cp, -sp, ch * cp};
    return axes;
}

Vec3 anglesOf(const Axes& axes) {
    return {std::atan2(axes.forward.x, axes.forward.z), -std::asin(std::clamp(axes.forward.y, -1.0, 1.0)),
            std::atan2(axes.right.y, axes.up.y)};
}

Vec3 Transform::normal(const Vec3& n) const {
    const Vec3 turned = cross(up, forward) * n.x + cross(forward, right) * n.y + cross(right, up) * n.z;
    const double size = length(turned);
    if (!(size > 0.0) || !std::isfinite(size)) return n;
    return turned * ((determinant() < 0.0 ? -1.0 : 1.0) / size);
}

Transform Transform::inverse() const {
    const double det = determinant();
    if (det == 0.0 || !std::isfinite(1.0 / det)) return {{}, {}, {}, {}};
    const Vec3 a = cross(up, forward) * (1.0 / det);
    const Vec3 b = cross(forward, right) * (1.0 / det);
    const Vec3 c = cross(right, up) * (1.0 / det);
    Transform back{{a.x, b.x, c.x}, {a.y, b.y, c.y}, {a.z, b.z, c.z}, {}};
    back.origin = -back.vector(origin);
    return back;
}

Axes Transform::axes() const {
    const auto direction = [](const Vec3& axis, const Vec3& otherwise) {
        const double size = length(axis);
        return size > 0.0 && std::isfinite(size) ? axis * (1.0 / size) : otherwise;
    };
    const Axes unit;
    return {direction(right, unit.right), direction(up, unit.up), direction(forward, unit.forward)};
}

Transform operator*(const Transform& outer, const Transform& inner) {
    return {outer.vector(inner.right), outer.vector(inner.up), outer.vector(inner.forward),
            outer.point(inner.origin)};
}

}  // namespace kestrel::preview
