// What is known of a number when code is made.
#pragma once

#include <cmath>
#include <limits>

namespace kestrel::fast {

/// Bounds that hold for every value but NaN.
struct Facts {
    double low = -std::numeric_limits<double>::infinity();
    double high = std::numeric_limits<double>::infinity();
    bool nan = true;     ///< it may be NaN
    bool whole = false;  ///< it has no fraction; infinities have none

    /// It is a number between -limit and limit.
    [[nodiscard]] bool within(double limit) const noexcept { return !nan && low >= -limit && high <= limit; }
    [[nodiscard]] bool finite() const noexcept { return within(std::numeric_limits<double>::max()); }
    [[nodiscard]] bool above(double bound) const noexcept { return !nan && low > bound; }
    [[nodiscard]] bool excludesZero() const noexcept { return !nan && (low > 0.0 || high < 0.0); }
    /// True when all that holds for `other` is covered by this.
    [[nodiscard]] bool covers(const Facts& other) const noexcept {
        return low <= other.low && high >= other.high && (nan || !other.nan) && (!whole || other.whole);
    }

    [[nodiscard]] static Facts of(double value) noexcept;
    [[nodiscard]] static Facts between(double low, double high, bool whole = false) noexcept {
        return {low, high, false, whole};
    }
    /// Conditions.
    [[nodiscard]] static Facts bit() noexcept { return between(0.0, 1.0, true); }
};

/// What holds for a value that is one or the other.
[[nodiscard]] Facts join(const Facts& a, const Facts& b) noexcept;
[[nodiscard]] Facts sum(const Facts& a, const Facts& b) noexcept;
[[nodiscard]] Facts difference(const Facts& a, const Facts& b) noexcept;
[[nodiscard]] Facts product(const Facts& a, const Facts& b) noexcept;
[[nodiscard]] Facts quotient(const Facts& a, const Facts& b) noexcept;
[[nodiscard]] Facts opposite(const Facts& a) noexcept;
[[nodiscard]] Facts magnitude(const Facts& a) noexcept;
/// Of floor, ceil and truncation: `f` is monotonic.
[[nodiscard]] Facts rounded(const Facts& a, double (*f)(double)) noexcept;
[[nodiscard]] Facts root(const Facts& a) noexcept;
[[nodiscard]] Facts smaller(const Facts& a, const Facts& b) noexcept;
[[nodiscard]] Facts larger(const Facts& a, const Facts& b) noexcept;

/// The smallest x for which the rounded sum x + summand is not below the bound (`strictly`: is above it).
/// Sums grow with x, so that holds for each larger one, and no smaller one.
/// @param summand, bound  finite
[[nodiscard]] double leastFor(double summand, double bound, bool strictly) noexcept;

/// The assumption about what changes in a loop, made weaker where `seen` shows that it does not hold. Comes
/// to an end: each bound gives way in few steps.
[[nodiscard]] Facts widen(const Facts& assumed, const Facts& seen) noexcept;

}  // namespace kestrel::fast
