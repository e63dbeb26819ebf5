// How much one script may have.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kestrel {

#ifdef KESTREL_TINY_LIMITS
// Small enough that tests come to every one of them.
inline constexpr bool kTinyLimits = true;
inline constexpr int kStackCells = 64;
inline constexpr std::size_t kMemoryLimit = std::size_t{1} << 20;
inline constexpr std::int64_t kMaxElements = 1'000;
#else
inline constexpr bool kTinyLimits = false;
/// Cells of the evaluation stack.
inline constexpr int kStackCells = 4096;
/// Bytes of texts, arrays and records together: what a process of 32 bits could hold.
inline constexpr std::size_t kMemoryLimit = std::size_t{2} << 30;
/// Elements that an array may have. More cells than this did not fit into the address space of 32 bits that
/// scripts were written for.
inline constexpr std::int64_t kMaxElements = 30'000'000;
#endif

}  // namespace kestrel
