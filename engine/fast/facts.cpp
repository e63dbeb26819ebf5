#include "engine/fast/facts.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <numeric>

namespace kestrel::fast {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
/// Where bounds of whole numbers that grow in a loop are tried: most are indexes and counts.
constexpr double kSteps[] = {2147483647.0, 4503599627370496.0, kInfinity};

bool mayBeInfinite(const Facts& a) noexcept {
    return a.low == -kInfinity || a.high == kInfinity;
}

bool mayBeZero(const Facts& a) noexcept {
    return a.low <= 0.0 && a.high >= 0.0;
}

/// Bounds that are NaN, of infinities that meet, are none.
Facts bounded(double low, double high, bool nan, bool whole) noexcept {
    return {std::isnan(low) ? -kInfinity : low, std::isnan(high) ? kInfinity : high, nan, whole};
}

/// Doubles in their order as whole numbers, and back: the other way round below zero.
std::int64_t placeOf(double x) noexcept {
    const auto bits = std::bit_cast<std::int64_t>(x);
    return bits >= 0 ? bits : std::numeric_limits<std::int64_t>::min() - bits;
}
double at(std::int64_t place) noexcept {
    return std::bit_cast<double>(place >= 0 ? place : std::numeric_limits<std::int64_t>::min() - place);
}

}  // namespace

Facts Facts::of(double value) noexcept {
    if (std::isnan(value)) return {};
    return {value, value, false, value == std::trunc(value)};
}

Facts join(const Facts& a, const Facts& b) noexcept {
    return {std::min(a.low, b.low), std::max(a.high, b.high), a.nan || b.nan, a.whole && b.whole};
}

// Rounding to the nearest is monotonic, so sums of bounds are bounds of sums.
Facts sum(const Facts& a, const Facts& b) noexcept {
    const bool opposed =
        (a.high == kInfinity && b.low == -kInfinity) || (a.low == -kInfinity && b.high == kInfinity);
    return bounded(a.low + b.low, a.high + b.high, a.nan || b.nan || opposed, a.whole && b.whole);
}

Facts difference(const Facts& a, const Facts& b) noexcept {
    return sum(a, opposite(b));
}

Facts product(const Facts& a, const Facts& b) noexcept {
    const bool undefined = (mayBeInfinite(a) && mayBeZero(b)) || (mayBeInfinite(b) && mayBeZero(a));
    const bool nan = a.nan || b.nan || undefined;
    if (undefined) return {-kInfinity, kInfinity, nan, a.whole && b.whole};
    const auto [low, high] = std::minmax({a.low * b.low, a.low * b.high, a.high * b.low, a.high * b.high});
    return bounded(low, high, nan, a.whole && b.whole);
}

Facts quotient(const Facts& a, const Facts& b) noexcept {
    if (a.nan || b.nan || mayBeInfinite(a) || mayBeInfinite(b) || mayBeZero(b)) return {};
    const auto [low, high] = std::minmax({a.low / b.low, a.low / b.high, a.high / b.low, a.high / b.high});
    return bounded(low, high, false, false);
}

Facts opposite(const Facts& a) noexcept {
    return {-a.high, -a.low, a.nan, a.whole};
}

Facts magnitude(const Facts& a) noexcept {
    const double high = std::max(std::fabs(a.low), std::fabs(a.high));
    const double low = mayBeZero(a) ? 0.0 : std::min(std::fabs(a.low), std::fabs(a.high));
    return {low, high, a.nan, a.whole};
}

Facts rounded(const Facts& a, double (*f)(double)) noexcept {
    return {f(a.low), f(a.high), a.nan, true};
}

Facts root(const Facts& a) noexcept {
    if (a.nan || a.low < 0.0) return {0.0, kInfinity, true, false};
    return {std::sqrt(a.low), std::sqrt(a.high), false, false};
}

// With a NaN either operand may come out.
Facts smaller(const Facts& a, const Facts& b) noexcept {
    if (a.nan || b.nan) return join(a, b);
    return {std::min(a.low, b.low), std::min(a.high, b.high), false, a.whole && b.whole};
}

Facts larger(const Facts& a, const Facts& b) noexcept {
    if (a.nan || b.nan) return join(a, b);
    return {std::max(a.low, b.low), std::max(a.high, b.high), false, a.whole && b.whole};
}

Facts widen(const Facts& assumed, const Facts& seen) noexcept {
    Facts wide = assumed;
    wide.nan = assumed.nan || seen.nan;
    wide.whole = assumed.whole && seen.whole;
    const auto next = [&](double bound) {
        if (!wide.whole) return kInfinity;
        return *std::ranges::find_if(kSteps, [bound](double step) { return step >= bound; });
    };
    if (seen.high > assumed.high) wide.high = next(seen.high);
    if (seen.low < assumed.low) wide.low = -next(-seen.low);
    return wide;
}

double leastFor(double summand, double bound, bool strictly) noexcept {
    std::int64_t below = placeOf(-kInfinity);
    std::int64_t least = placeOf(kInfinity);
    while (below + 1 < least) {
        const std::int64_t middle = std::midpoint(below, least);
        const double sum = at(middle) + summand;
        (strictly ? sum > bound : sum >= bound) ? least = middle : below = middle;
    }
    return at(least);
}

}  // namespace kestrel::fast
