#include "bench/patterns.h"

#include <algorithm>
#include <cmath>

namespace kestrel::bench {

namespace {

double ramp(double x, double a, double b) {
    const double t = std::clamp((x - a) / (b - a), 0.0, 1.0);
    return t * t * (3 - 2 * t);
}

Color pattern(double u, double v) {
    const double y = v * 12;
    const int row = static_cast<int>(std::floor(y));
    const double x = u * 5 + (row % 2 == 0 ? 0.0 : 0.5);
    const int column = static_cast<int>(std::floor(x));
    const double a = std::abs(2 * (x - column) - 1);
    const double b = std::abs(2 * (y - row) - 1);
    const double face = ramp((1 - a) * 1.25, 0.06, 0.14) * ramp((1 - b) * 0.5, 0.06, 0.14);
    const double chance = std::sin(row * 12.9898 + column * 78.233) * 43758.5453;
    const double luck = std::abs(chance - std::trunc(chance));
    const double shade = 0.7 + 0.5 * luck;
    return {0.42 + (0.36 * shade - 0.42) * face, 0.40 + (0.105 * shade - 0.40) * face,
            0.365 + (0.06 * shade - 0.365) * face};
}

}  // namespace

void brick(void* instance, ShadingSample* sample) {
    evaluateBy<pattern>(instance, sample);
}

}  // namespace kestrel::bench
