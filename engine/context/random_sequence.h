// The sequence of random numbers that each script has.
#pragma once

#include <cstdint>

namespace kestrel {

inline constexpr std::uint32_t kRandomFactor = 214013;
inline constexpr std::uint32_t kRandomStep = 2531011;
inline constexpr double kPerDraw = 3.051850947599719e-5;  // 1 / 32767

/// The next of 0 to 32767. Each script has a sequence of its own, so a frame is the same on every machine.
[[nodiscard]] constexpr std::uint32_t drawRandom(std::uint32_t& state) noexcept {
    state = state * kRandomFactor + kRandomStep;
    return (state >> 16) & 0x7FFFu;
}

}  // namespace kestrel
