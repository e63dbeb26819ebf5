#include "preview/scene/shapes.h"

#include <numbers>
#include <span>

namespace kestrel::preview {

namespace {

using std::numbers::pi;

constexpr int kAround = 96;  // corners of what is turned on a lathe

/// Adds a grid of points that is `columns` wide; a cell is a polygon of two triangles.
class GridBuilder {
public:
    GridBuilder(Geometry& geometry, std::uint32_t columns, std::uint16_t surface)
        : geometry_(geometry),
          columns_(columns),
          surface_(surface),
          start_(static_cast<std::uint32_t>(geometry.points.size())),
          polygon_(geometry.polygonOf.empty() ? 0 : geometry.polygonOf.back() + 1) {}

    void point(const Vec3& position, const Vec3& normal) {
        geometry_.points.push_back(toFloat3(position));
        geometry_.normals.push_back(toFloat3(normalize(normal)));
    }
    /// Joins the last two rows. Rows go up where columns go to the right, as seen from outside.
    void join() {
        const auto above = static_cast<std::uint32_t>(geometry_.points.size()) - columns_;
        const std::uint32_t below = above - columns_;
        for (std::uint32_t i = 0; i + 1 < columns_; ++i) {
            triangle(below + i, above + i, above + i + 1);
            triangle(below + i, above + i + 1, below + i + 1);
            ++polygon_;
        }
    }
    [[nodiscard]] bool hasRows() const { return geometry_.points.size() > start_ + columns_; }

private:
    /// What has no area, as at a pole, is left out.
    void triangle(std::uint32_t a, std::uint32_t b, std::uint32_t c) {
        const Vec3 pa = toVec(geometry_.points[a]);
        const Vec3 pb = toVec(geometry_.points[b]);
        const Vec3 pc = toVec(geometry_.points[c]);
        if (pa == pb || pb == pc || pa == pc) return;
        geometry_.triangles.push_back({a, b, c});
        geometry_.polygonOf.push_back(polygon_);
        geometry_.surfaceOf.push_back(surface_);
    }

    Geometry& geometry_;
    std::uint32_t columns_;
    std::uint16_t surface_;
    std::uint32_t start_;
    std::int32_t polygon_;
};

// ---- what is turned on a lathe ----

/// A point of an outline, with its distance from the axis, its height and its normal in the same plane.
struct OutlinePoint {
    double away;
    double height;
    double normalAway;
    double normalHeight;
};

/// An outline that runs from the lower end of the axis to the upper one with the outside to its right.
class Outline {
public:
    /// A part of a circle. Angles count from straight outwards towards the axis's upper end.
    /// @param hollow  the outside is on the inside of the circle
    void arc(double away, double height, double radius, double from, double to, int steps,
             bool hollow = false) {
        for (int i = 0; i <= steps; ++i) {
            const double angle = from + (to - from) * i / steps;
            const double c = std::cos(angle);
            const double s = std::sin(angle);
            const double side = hollow ? -1.0 : 1.0;
            const double out = away + radius * c;
            points_.push_back({out > 1e-9 ? out : 0.0, height + radius * s, side * c, side * s});
        }
    }
    /// A straight part; its ends have its own normals, so that an edge stays sharp.
    void line(double away, double height, double toAway, double toHeight, int steps = 1) {
        const double length = std::hypot(toAway - away, toHeight - height);
        const double normalAway = (toHeight - height) / length;
        const double normalHeight = (away - toAway) / length;
        for (int i = 0; i <= steps; ++i) {
            const double t = static_cast<double>(i) / steps;
            points_.push_back(
                {away + (toAway - away) * t, height + (toHeight - height) * t, normalAway, normalHeight});
        }
    }
    [[nodiscard]] std::span<const OutlinePoint> points() const { return points_; }

private:
    std::vector<OutlinePoint> points_;
};

void turn(Geometry& geometry, const Outline& outline, const Axes& axes, std::uint16_t surface) {
    GridBuilder grid(geometry, kAround + 1, surface);
    for (const OutlinePoint& p : outline.points()) {
        for (int i = 0; i <= kAround; ++i) {
            // The last corner is the first one to the last bit, so that the surface is closed.
            const double angle = 2.0 * pi * (i % kAround) / kAround;
            const Vec3 out{std::cos(angle), 0.0, std::sin(angle)};
            const Vec3 up{0.0, 1.0, 0.0};
            grid.point(axes.toWorld(out * p.away + up * p.height),
                       axes.toWorld(out * p.normalAway + up * p.normalHeight));
        }
        if (grid.hasRows()) grid.join();
    }
}

constexpr double kCut = 0.62;           // height of the flat cut
constexpr double kRecess = 0.58;        // radius of the hole in it
constexpr double kFloor = 0.34;         // height of the hole's floor
constexpr double kCore = 0.46;          // radius of the core
constexpr double kCoreHeight = 0.22;    // of its centre
constexpr double kFillet = 0.035;       // rounds all edges
constexpr double kGroove = 0.055;       // radius of the groove
constexpr double kGrooveAngle = -0.12;  // where it lies, from the equator upwards

Outline body() {
    Outline outline;
    // The groove is a circle whose centre lies on the sphere; it takes away the angle to each side of it at
    // which the two circles meet.
    const double half = 2.0 * std::asin(0.5 * kGroove);
    outline.arc(0.0, 0.0, 1.0, -0.5 * pi, kGrooveAngle - half, 34);
    const double open = 0.5 * pi + 0.5 * half;
    outline.arc(std::cos(kGrooveAngle), std::sin(kGrooveAngle), kGroove, kGrooveAngle - open,
                kGrooveAngle - (2.0 * pi - open), 10, true);
    // The rim between the sphere and the cut touches both.
    const double rimHeight = kCut - kFillet;
    const double rimAway = std::sqrt((1.0 - kFillet) * (1.0 - kFillet) - rimHeight * rimHeight);
    const double rimAngle = std::atan2(rimHeight, rimAway);
    outline.arc(0.0, 0.0, 1.0, kGrooveAngle + half, rimAngle, 16);
    outline.arc(rimAway, rimHeight, kFillet, rimAngle, 0.5 * pi, 5);
    const double edge = kRecess + kFillet;
    outline.line(rimAway, kCut, edge, kCut);
    outline.arc(edge, kCut - kFillet, kFillet, 0.5 * pi, pi, 5);
    outline.line(kRecess, kCut - kFillet, kRecess, kFloor + kFillet, 2);
    outline.arc(kRecess - kFillet, kFloor + kFillet, kFillet, 0.0, -0.5 * pi, 5, true);
    const double coreAway = std::sqrt(kCore * kCore - (kFloor - kCoreHeight) * (kFloor - kCoreHeight));
    outline.line(kRecess - kFillet, kFloor, coreAway, kFloor);
    outline.arc(0.0, kCoreHeight, kCore, std::asin((kFloor - kCoreHeight) / kCore), 0.5 * pi, 16);
    return outline;
}

/// A dish that follows the ball at a small distance.
Outline foot() {
    constexpr double kGap = 0.012;
    constexpr double kReach = 0.44;
    constexpr double kRound = 0.05;
    const double top = -std::sqrt((1.0 + kGap) * (1.0 + kGap) - kReach * kReach);
    Outline outline;
    outline.line(0.0, kBallBottom, 0.60, kBallBottom, 2);
    outline.arc(0.60, kBallBottom + kRound, kRound, -0.5 * pi, 0.0, 5);
    outline.line(0.65, kBallBottom + kRound, 0.65, top - kRound);
    outline.arc(0.60, top - kRound, kRound, 0.0, 0.5 * pi, 5);
    outline.line(0.60, top, kReach, top);
    outline.arc(0.0, 0.0, 1.0 + kGap, std::asin(top / (1.0 + kGap)), -0.5 * pi, 12, true);
    return outline;
}

}  // namespace

Geometry makeBall() {
    Geometry geometry;
    // The cut looks up and to the viewer, a little to the side of the light.
    const Vec3 axis = normalize({-0.26, 0.62, -0.74});
    Axes tilted;
    tilted.up = axis;
    tilted.right = normalize(cross(axis, {0.0, 0.0, 1.0}));
    tilted.forward = cross(tilted.right, tilted.up);
    turn(geometry, body(), tilted, kBallBody);
    turn(geometry, foot(), {}, kBallFoot);
    return geometry;
}

Geometry makeBox(const Vec3& half, double radius) {
    constexpr int kRound = 6;  // steps of a quarter of an edge
    constexpr int kFlat = 8;   // of a side
    Geometry geometry;
    const auto places = [&](double side) {
        std::vector<double> result;
        for (int i = 0; i < kRound; ++i)
            result.push_back(-side + radius * (1.0 - std::tan(0.25 * pi * (kRound - i) / kRound)));
        for (int i = 0; i <= kFlat; ++i) result.push_back((side - radius) * (2.0 * i / kFlat - 1.0));
        for (int i = 1; i <= kRound; ++i)
            result.push_back(side - radius * (1.0 - std::tan(0.25 * pi * i / kRound)));
        return result;
    };
    const Vec3 inner = half - Vec3{radius, radius, radius};
    const Axes unit;
    const Vec3 sides[][3] = {{unit.right, unit.up, -unit.forward}, {-unit.right, unit.up, unit.forward},
                             {unit.forward, unit.up, unit.right},  {-unit.forward, unit.up, -unit.right},
                             {unit.right, unit.forward, unit.up},  {unit.right, -unit.forward, -unit.up}};
    for (const auto& [across, up, out] : sides) {
        const auto extent = [&](const Vec3& axis) { return std::abs(dot(axis, half)); };
        const std::vector<double> columns = places(extent(across));
        GridBuilder grid(geometry, static_cast<std::uint32_t>(columns.size()), 0);
        for (const double y : places(extent(up))) {
            for (const double x : columns) {
                const Vec3 flat = across * x + up * y + out * extent(out);
                const Vec3 core{std::clamp(flat.x, -inner.x, inner.x), std::clamp(flat.y, -inner.y, inner.y),
                                std::clamp(flat.z, -inner.z, inner.z)};
                const Vec3 normal = normalize(flat - core);
                grid.point(core + normal * radius, normal);
            }
            if (grid.hasRows()) grid.join();
        }
    }
    return geometry;
}

Geometry makeBackdrop(const Backdrop& size) {
    constexpr int kBend = 48;
    Geometry geometry;
    GridBuilder grid(geometry, 2, 0);
    const auto row = [&](double z, double y, const Vec3& normal) {
        grid.point({-size.halfWidth, y, z}, normal);
        grid.point({size.halfWidth, y, z}, normal);
        if (grid.hasRows()) grid.join();
    };
    row(-size.near, 0.0, {0.0, 1.0, 0.0});
    for (int i = 0; i <= kBend; ++i) {
        const double angle = 0.5 * pi * i / kBend;
        row(size.far + size.radius * std::sin(angle), size.radius * (1.0 - std::cos(angle)),
            {0.0, std::cos(angle), -std::sin(angle)});
    }
    row(size.far + size.radius, size.height, {0.0, 0.0, -1.0});
    return geometry;
}

}  // namespace kestrel::preview
