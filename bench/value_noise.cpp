#include "bench/noise.h"
#include "bench/patterns.h"

namespace kestrel::bench {

Color valueNoise(double u, double v) {
    static const Lattice lattice = makeLattice();
    const double n = noise(lattice, u * 16, v * 16, 0.5);
    return {n, n, n};
}

}  // namespace kestrel::bench
