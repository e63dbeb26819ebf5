// The language's random numbers, and the noise of examples/library/noise.ks: value noise on a lattice of 2048
// of them.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace kestrel::bench {

constexpr std::size_t kLatticeSize = 2048;
using Lattice = std::array<double, kLatticeSize + 210>;

/// The language's randu().
class Random {
public:
    explicit Random(std::uint32_t seed) : state_(seed) { next(); }  // seeding draws one, too
    double next() {
        state_ = state_ * 214013 + 2531011;
        return (state_ >> 16 & 0x7fff) * 3.051850947599719e-5;
    }

private:
    std::uint32_t state_;
};

inline Lattice makeLattice() {
    Lattice lattice{};
    Random random(7);
    for (std::size_t i = 0; i < kLatticeSize; ++i) lattice[i] = random.next();
    for (std::size_t i = kLatticeSize; i < lattice.size(); ++i) lattice[i] = lattice[i - kLatticeSize];
    return lattice;
}

inline double noise(const Lattice& lattice, double x, double y, double z) {
    const int i = static_cast<int>(std::floor(x));
    const int j = static_cast<int>(std::floor(y));
    const int k = static_cast<int>(std::floor(z));
    const double* corner = &lattice[static_cast<unsigned>(i + 37 * j + 172 * k) & (kLatticeSize - 1)];
    double u = x - i;
    double v = y - j;
    double w = z - k;
    u = u * u * (3 - 2 * u);
    v = v * v * (3 - 2 * v);
    w = w * w * (3 - 2 * w);
    double a = corner[0];
    double b = corner[37];
    double c = corner[172];
    double d = corner[209];
    a = a + (corner[1] - a) * u;
    b = b + (corner[38] - b) * u;
    c = c + (corner[173] - c) * u;
    d = d + (corner[210] - d) * u;
    a = a + (b - a) * v;
    c = c + (d - c) * v;
    return a + (c - a) * w;
}

}  // namespace kestrel::bench
