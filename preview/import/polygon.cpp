#include "preview/import/polygon.h"

#include <numeric>

namespace kestrel::preview {

namespace {

struct Flat {
    double x = 0.0;
    double y = 0.0;
};

/// Twice the area, positive when the three turn as the whole polygon does.
double turn(const Flat& a, const Flat& b, const Flat& c) {
    return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
}

/// Source: Newell's method, which also suits corners that do not lie in one plane.
Vec3 areaVector(std::span<const Vec3> corners) {
    Vec3 sum;
    for (std::size_t i = 0; i < corners.size(); ++i) {
        const Vec3 a = corners[i] - corners[0];
        const Vec3 b = corners[(i + 1) % corners.size()] - corners[0];
        sum += cross(a, b);
    }
    return sum;
}

std::vector<Flat> flatten(std::span<const Vec3> corners, const Vec3& normal) {
    const Vec3 side = std::abs(normal.y) < 0.9 ? Vec3{0.0, 1.0, 0.0} : Vec3{1.0, 0.0, 0.0};
    const Vec3 u = normalize(cross(side, normal));
    const Vec3 v = cross(normal, u);
    std::vector<Flat> flat;
    flat.reserve(corners.size());
    for (const Vec3& corner : corners)
        flat.push_back({dot(corner - corners[0], u), dot(corner - corners[0], v)});
    return flat;
}

bool isConvex(const std::vector<Flat>& flat) {
    const std::size_t n = flat.size();
    for (std::size_t i = 0; i < n; ++i) {
        if (turn(flat[i], flat[(i + 1) % n], flat[(i + 2) % n]) < 0.0) return false;
    }
    return true;
}

void fan(std::span<const std::uint32_t> ring, std::vector<std::array<std::uint32_t, 3>>& triangles) {
    for (std::size_t i = 2; i < ring.size(); ++i) triangles.push_back({ring[0], ring[i - 1], ring[i]});
}

class EarClipper {
public:
    explicit EarClipper(const std::vector<Flat>& flat) : flat_(flat), ring_(flat.size()) {
        std::iota(ring_.begin(), ring_.end(), 0U);
    }

    void clip(std::vector<std::array<std::uint32_t, 3>>& triangles) {
        std::size_t at = 0;
        std::size_t failures = 0;
        while (ring_.size() > 3 && failures < ring_.size() && work_ < kMostWork) {
            const std::size_t n = ring_.size();
            at %= n;
            const std::array<std::uint32_t, 3> ear{ring_[(at + n - 1) % n], ring_[at], ring_[(at + 1) % n]};
            if (!isEar(ear)) {
                ++at;
                ++failures;
                continue;
            }
            triangles.push_back(ear);
            ring_.erase(ring_.begin() + static_cast<std::ptrdiff_t>(at));
            failures = 0;
        }
        fan(ring_, triangles);
    }

private:
    bool isEar(const std::array<std::uint32_t, 3>& ear) {
        const Flat& a = flat_[ear[0]];
        const Flat& b = flat_[ear[1]];
        const Flat& c = flat_[ear[2]];
        if (turn(a, b, c) <= 0.0) return false;
        work_ += ring_.size();
        for (const std::uint32_t corner : ring_) {
            if (corner == ear[0] || corner == ear[1] || corner == ear[2]) continue;
            const Flat& p = flat_[corner];
            if (turn(a, b, p) >= 0.0 && turn(b, c, p) >= 0.0 && turn(c, a, p) >= 0.0) return false;
        }
        return true;
    }

    /// Tests of a corner against an ear. What crosses itself in thousands of places stays cheap.
    static constexpr std::size_t kMostWork = 10'000'000;
    const std::vector<Flat>& flat_;
    std::vector<std::uint32_t> ring_;
    std::size_t work_ = 0;
};

}  // namespace

void triangulate(std::span<const Vec3> corners, std::vector<std::array<std::uint32_t, 3>>& triangles) {
    if (corners.size() < 3) return;
    if (corners.size() == 3) {
        triangles.push_back({0, 1, 2});
        return;
    }
    const std::vector<Flat> flat = flatten(corners, normalize(areaVector(corners)));
    if (!isConvex(flat)) {
        EarClipper(flat).clip(triangles);
        return;
    }
    std::vector<std::uint32_t> ring(corners.size());
    std::iota(ring.begin(), ring.end(), 0U);
    fan(ring, triangles);
}

}  // namespace kestrel::preview
