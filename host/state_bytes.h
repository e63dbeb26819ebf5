// The bytes of saved states: taking them from the host, and numbers as scripts' settings hold them.
#pragma once

#include "host/host_interface.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace kestrel {

/// What the host gives at once, of which it may say too much.
/// @return below 0 at the end of a text
[[nodiscard]] inline std::int32_t readSome(const LoadState& state, char* buffer, std::size_t size) {
    const auto room = static_cast<std::int32_t>(size);
    return std::min(state.read(state.handle, buffer, room), room);
}

/// All of the bytes of a binary state, however many the host gives at once.
/// @return false when the data ends before
[[nodiscard]] inline bool readAll(const LoadState& state, char* buffer, std::size_t size) {
    for (std::size_t done = 0; done < size;) {
        const std::int32_t count = readSome(state, buffer + done, size - done);
        if (count <= 0) return false;
        done += static_cast<std::size_t>(count);
    }
    return true;
}

/// Most significant byte first, whatever the machine is.
template <class T>
[[nodiscard]] std::array<char, sizeof(T)> toBigEndian(T value) noexcept {
    auto bytes = std::bit_cast<std::array<char, sizeof(T)>>(value);
    if constexpr (std::endian::native == std::endian::little) std::ranges::reverse(bytes);
    return bytes;
}

template <class T>
[[nodiscard]] T fromBigEndian(std::array<char, sizeof(T)> bytes) noexcept {
    if constexpr (std::endian::native == std::endian::little) std::ranges::reverse(bytes);
    return std::bit_cast<T>(bytes);
}

/// The nearest number of single precision; infinite where there is none that near.
[[nodiscard]] inline float nearestSingle(double value) noexcept {
    constexpr double kRoundsToInfinity = 0x1.ffffffp127;  // halfway from the largest to what would follow
    using Single = std::numeric_limits<float>;
    const double size = std::fabs(value);
    if (std::isnan(value) || size <= static_cast<double>(Single::max())) return static_cast<float>(value);
    const float largest = size < kRoundsToInfinity ? Single::max() : Single::infinity();
    return value < 0.0 ? -largest : largest;
}

}  // namespace kestrel
