#include "bench/noise.h"
#include "bench/patterns.h"

#include <algorithm>

namespace kestrel::bench {

namespace {

double turbulence(const Lattice& lattice, double x, double y, double z) {
    double sum = 0.0;
    double strength = 0.5;
    for (int octave = 1; octave <= 4; ++octave) {
        sum += std::abs(2 * noise(lattice, x, y, z) - 1) * strength;
        strength *= 0.5;
        const double t = 1.6 * x + 1.2 * y;
        y = 1.6 * y - 1.2 * x;
        x = 2 * z + 3.7;
        z = t;
    }
    return sum;
}

Color mix(const Color& a, const Color& b, double share) {
    return {a.r + (b.r - a.r) * share, a.g + (b.g - a.g) * share, a.b + (b.b - a.b) * share};
}

Color pattern(double u, double v) {
    static const Lattice lattice = makeLattice();
    constexpr Color kStone{0.80, 0.78, 0.74};
    constexpr Color kCloud{0.50, 0.50, 0.52};
    constexpr Color kVein{0.045, 0.05, 0.07};
    const double x = u * 3 + 11;
    const double y = v * 3 + 7;
    const double rough = turbulence(lattice, x, y, 5.0);
    const double wave = std::sin(1.9 * x + 3.1 * y + 6.5 * rough);
    const double depth = 1 - std::abs(wave);
    const double thread = std::max(0.0, (depth - 0.7) / 0.3);
    return mix(mix(kStone, kCloud, 0.6 * depth), kVein, thread * thread);
}

}  // namespace

void marble(void* instance, ShadingSample* sample) {
    evaluateBy<pattern>(instance, sample);
}

}  // namespace kestrel::bench
