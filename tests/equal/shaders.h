// Random shaders: programs as those that executors without a stack are made for.
#pragma once

#include "tests/equal/tree.h"

#include <cstdint>

namespace kestrel::equal {

/// A script whose `process` computes with numbers, vectors, tables and functions, and only now and then
/// reports, writes elements or brings in other kinds; its globals change between samples, some of them their
/// kinds. The same for a seed on every machine; it ends whatever its values are.
/// @param independent  most leave nothing behind from one sample to the next but what they write into them
[[nodiscard]] Node generateShader(std::uint64_t seed, bool independent);

}  // namespace kestrel::equal
