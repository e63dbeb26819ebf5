#include "bench/patterns.h"

#include <cmath>

namespace kestrel::bench {

namespace {

Color pattern(double u, double v) {
    const int i = static_cast<int>(std::floor(u * 8));
    const int j = static_cast<int>(std::floor(v * 8));
    if ((i + j) % 2 == 0) return {0.85, 0.80, 0.68};
    return {0.08, 0.02, 0.03};
}

}  // namespace

void checker(void* instance, ShadingSample* sample) {
    evaluateBy<pattern>(instance, sample);
}

}  // namespace kestrel::bench
