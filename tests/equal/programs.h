// Random programs that end, and are the same for a seed on every machine.
#pragma once

#include "tests/equal/tree.h"

#include <cstdint>

namespace kestrel::equal {

/// A whole script of anything. Loops and calls spend fuel, and texts and arrays stay small, so it ends
/// whatever its values are. Most of its values have kinds that fit; some do not.
[[nodiscard]] Node generate(std::uint64_t seed);

/// A script as executors without a stack are made for: its `process` computes with numbers, vectors, tables
/// and functions, and only now and then reports, writes elements or brings in other kinds; its globals change
/// between samples, some of them their kinds.
/// @param independent  most leave nothing behind from one sample to the next but what they write into them
[[nodiscard]] Node generateShader(std::uint64_t seed, bool independent);

}  // namespace kestrel::equal
