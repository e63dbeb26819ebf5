#include "bench/patterns.h"

#include <cmath>

namespace kestrel::bench {

namespace {

Color pattern(double u, double v) {
    const double cx = u * 3 - 2.2;
    const double cy = v * 3 - 1.5;
    double x = 0.0;
    double y = 0.0;
    int n = 0;
    while (n < 64) {
        const double xx = x * x;
        const double yy = y * y;
        if (xx + yy > 4) break;
        y = 2 * x * y + cy;
        x = xx - yy + cx;
        ++n;
    }
    const double t = n / 64.0;
    return {t, t * t, std::sqrt(t)};
}

}  // namespace

void mandelbrot(void* instance, ShadingSample* sample) {
    evaluateBy<pattern>(instance, sample);
}

}  // namespace kestrel::bench
