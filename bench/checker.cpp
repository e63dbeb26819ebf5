#include "bench/patterns.h"

#include <cmath>

namespace kestrel::bench {

Color checker(double u, double v) {
    const int i = static_cast<int>(std::floor(u * 8));
    const int j = static_cast<int>(std::floor(v * 8));
    if ((i + j) % 2 == 0) return {0.85, 0.80, 0.68};
    return {0.08, 0.02, 0.03};
}

}  // namespace kestrel::bench
