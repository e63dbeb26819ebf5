// What `process` is given: places of a grid, and everything that a double can be.
#pragma once

#include "host/host_interface.h"

#include <cstdint>
#include <string>

namespace kestrel::equal {

/// The sample of this number in the series of a seed. Every fourth is a place of a grid; the others are
/// uniform numbers, random bits, and numbers at the borders of what is exact, whole, normal and finite.
[[nodiscard]] ShadingSample makeSample(std::uint64_t seed, int number);
/// One of a batch: wild numbers are few, and lie among tame ones.
[[nodiscard]] ShadingSample makeSampleOfBatch(std::uint64_t seed, int number);

/// The rays that were asked for since this was called last, in a few words.
[[nodiscard]] std::string takeRays();

}  // namespace kestrel::equal
