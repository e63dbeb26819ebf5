// Numbers that arithmetic gets wrong: where signs, fractions, conversions and ranges end.
#pragma once

#include <limits>

namespace kestrel::test {

// clang-format off
constexpr double kEdgeNumbers[] = {
    0.0, -0.0, 1.0, -1.0, 0.5, -2.5, 3.0, 7.0, -7.0, 255.0, 1e-13, 5e-324,
    2147483647.0, -2147483648.0, 2147483648.0, 2251799813685248.0, 4503599627370497.0, -9007199254740993.0,
    1e18, -1e18, 9.3e18, 1e300, std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()};
// clang-format on

}  // namespace kestrel::test
