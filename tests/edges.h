// Numbers at the borders of what is exact, whole, normal and finite.
#pragma once

#include <limits>

namespace kestrel::test {

using Limits = std::numeric_limits<double>;
inline constexpr double kNaN = Limits::quiet_NaN();
inline constexpr double kInf = Limits::infinity();
inline constexpr double kTiny = Limits::denorm_min();
inline constexpr double kMin = Limits::min();
inline constexpr double kMax = Limits::max();
inline constexpr double kPastOne = 1.0 + Limits::epsilon();
inline constexpr double kEdges[] = {kNaN,     kInf,         -kInf,       0.0,           -0.0,   kTiny,
                                    -kTiny,   kMin,         -kMin / 2.0, kMax,          -kMax,  1.0,
                                    kPastOne, -1.0,         0.5,         1e-13,         -1e300, 9.3e18,
                                    0x1p31,   0x1p31 - 1.0, -0x1p31,     -0x1p31 - 1.0, 0x1p32, 0x1p32 - 1.0,
                                    0x1p53,   0x1p53 - 1.0, -0x1p53,     0x1p63};

}  // namespace kestrel::test
