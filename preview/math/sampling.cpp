#include "preview/math/sampling.h"

namespace kestrel::preview {

namespace {

double reversedBits(std::uint32_t v) {
    double result = 0.0;
    for (double place = 0.5; v != 0; v >>= 1, place *= 0.5) {
        if ((v & 1U) != 0) result += place;
    }
    return result;
}

/// Evenly spread 0..1 to a tent over -1..1.
double tent(double u) {
    return u < 0.5 ? std::sqrt(2.0 * u) - 1.0 : 1.0 - std::sqrt(2.0 - 2.0 * u);
}

double wrap(double u) {
    return u - std::floor(u);
}

}  // namespace

PixelOffset pixelOffset(std::int32_t x, std::int32_t y, std::int32_t index, std::int32_t count) {
    if (count <= 1) return {0.0, 0.0};
    SampleStream shift(x, y, -1);
    const double shiftX = shift.next() / count;  // stays inside the stratum
    const double shiftY = shift.next();
    return {tent(wrap(static_cast<double>(index) / count + shiftX)),
            tent(wrap(reversedBits(static_cast<std::uint32_t>(index)) + shiftY))};
}

}  // namespace kestrel::preview
