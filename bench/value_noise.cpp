#include "bench/noise.h"
#include "bench/patterns.h"

namespace kestrel::bench {

namespace {

Color pattern(double u, double v) {
    static const Lattice lattice = makeLattice();
    const double n = noise(lattice, u * 16, v * 16, 0.5);
    return {n, n, n};
}

}  // namespace

void valueNoise(void* instance, ShadingSample* sample) {
    evaluateBy<pattern>(instance, sample);
}

}  // namespace kestrel::bench
