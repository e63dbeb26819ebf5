#include "bench/noise.h"
#include "bench/patterns.h"

#include <array>
#include <cmath>

namespace kestrel::bench {

namespace {

struct Offsets {
    std::array<double, 256> x{};
    std::array<double, 256> y{};

    Offsets() {
        Random random(11);
        for (std::size_t i = 0; i < x.size(); ++i) {
            x[i] = random.next();
            y[i] = random.next();
        }
    }
};

Color pattern(double u, double v) {
    static const Offsets offsets;
    const double x = u * 9;
    const double y = v * 9;
    const int i = static_cast<int>(std::floor(x));
    const int j = static_cast<int>(std::floor(y));
    double nearest = 9.0;
    double second = 9.0;
    for (int dj = -1; dj <= 1; ++dj) {
        for (int di = -1; di <= 1; ++di) {
            const unsigned n = static_cast<unsigned>(37 * (i + di) + 101 * (j + dj)) & 255U;
            const double dx = i + di + offsets.x[n] - x;
            const double dy = j + dj + offsets.y[n] - y;
            const double d = dx * dx + dy * dy;
            if (d < nearest) {
                second = nearest;
                nearest = d;
            } else if (d < second) {
                second = d;
            }
        }
    }
    nearest = std::sqrt(nearest);
    second = std::sqrt(second);
    return {nearest, second - nearest, 0.5 * (1 - nearest)};
}

}  // namespace

void cellPattern(void* instance, ShadingSample* sample) {
    evaluateBy<pattern>(instance, sample);
}

}  // namespace kestrel::bench
