// Numbers by chance that are the same on every machine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace kestrel::equal {

/// Source: SplitMix64 (Steele, Lea, Flood 2014).
class Random {
public:
    explicit Random(std::uint64_t seed) noexcept : state_(seed) {}

    std::uint64_t bits() noexcept {
        std::uint64_t z = state_ += 0x9e3779b97f4a7c15u;
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
        return z ^ (z >> 31);
    }
    /// 0 to count - 1.
    std::size_t below(std::size_t count) noexcept { return static_cast<std::size_t>(bits() % count); }
    /// True in so many of a hundred cases.
    bool chance(std::size_t percent) noexcept { return below(100) < percent; }
    /// One element of an array.
    template <class Table>
    const auto& pick(const Table& table) noexcept {
        return table[below(std::size(table))];
    }

private:
    std::uint64_t state_;
};

}  // namespace kestrel::equal
