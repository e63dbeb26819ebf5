// Random programs that end.
#pragma once

#include "tests/equal/tree.h"

#include <cstdint>

namespace kestrel::equal {

/// A whole script: the same for a seed on every machine. Loops and calls spend fuel, and texts and arrays
/// stay small, so it ends whatever its values are. Most of its values have kinds that fit; some do not.
[[nodiscard]] Node generate(std::uint64_t seed);

}  // namespace kestrel::equal
