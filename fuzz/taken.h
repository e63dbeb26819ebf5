// Takes numbers, choices and texts off fuzzed bytes. When these are used up all is 0 or empty, so that every
// input means something and ends.
#pragma once

#include "fuzz/target.h"
#include "tests/edges.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
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
        switch (below(4)) {
            case 0:
                return raw<double>();
            case 1:
                return test::kEdges[below(std::size(test::kEdges))];
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
