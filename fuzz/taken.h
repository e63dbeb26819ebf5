// Takes numbers, choices and texts off fuzzed bytes. When these are used up all is 0 or empty, so that every
// input means something and ends.
#pragma once

#include "fuzz/target.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

namespace kestrel::fuzz {

class Taken {
public:
    explicit Taken(Bytes bytes) noexcept : rest_(bytes) {}

    [[nodiscard]] bool empty() const noexcept { return rest_.empty(); }

    std::uint8_t byte() noexcept {
        if (rest_.empty()) return 0;
        const std::uint8_t first = rest_.front();
        rest_ = rest_.subspan(1);
        return first;
    }
    /// One of the numbers below `count`, which is at most 256.
    std::size_t below(std::size_t count) noexcept { return byte() % count; }
    /// True once in `count` times.
    bool rarely(std::size_t count) noexcept { return !rest_.empty() && below(count) == 1; }
    template <class T>
    T raw() noexcept {
        T value{};
        const std::size_t size = std::min(sizeof value, rest_.size());
        std::memcpy(&value, rest_.data(), size);
        rest_ = rest_.subspan(size);
        return value;
    }
    /// Mostly small, sometimes at an edge, sometimes any.
    double number() noexcept {
        using Double = std::numeric_limits<double>;
        static constexpr std::array kEdges = {-0.0,
                                              0.5,
                                              Double::quiet_NaN(),
                                              Double::infinity(),
                                              -Double::infinity(),
                                              Double::max(),
                                              Double::denorm_min(),
                                              2147483647.0,
                                              -2147483648.0,
                                              4294967296.0,
                                              9007199254740993.0,
                                              9223372036854775808.0,
                                              -1e300};
        switch (below(4)) {
            case 0:
                return raw<double>();
            case 1:
                return kEdges[below(kEdges.size())];
            case 2:
                return raw<std::int16_t>();
            default:
                return raw<std::int8_t>();
        }
    }
    /// Up to 255 characters, sometimes many more of the same.
    std::string text() {
        const std::size_t length = byte();
        if (length == 255) return std::string(std::size_t{byte()} * 37, static_cast<char>(byte()));
        return std::string(textOf(take(length)));
    }
    Bytes take(std::size_t count) noexcept {
        const Bytes first = rest_.first(std::min(count, rest_.size()));
        rest_ = rest_.subspan(first.size());
        return first;
    }
    Bytes all() noexcept { return take(rest_.size()); }

private:
    Bytes rest_;
};

}  // namespace kestrel::fuzz
