// Changes of inputs, the same on every machine.
#pragma once

#include <cstdint>
#include <random>
#include <span>
#include <string>
#include <vector>

namespace kestrel::fuzz {

class Mutator {
public:
    /// @param words  to write into inputs
    Mutator(std::vector<std::string> words, std::size_t longest)
        : words_(std::move(words)), longest_(longest) {}

    /// One to eight changes of an input.
    /// @param others  whose pieces it may get
    [[nodiscard]] std::string change(std::string input, std::span<const std::string> others);

private:
    void changeOnce(std::string& input, std::span<const std::string> others);
    std::size_t below(std::size_t count) { return count > 0 ? random_() % count : 0; }

    std::vector<std::string> words_;
    std::size_t longest_;
    std::mt19937 random_{20};  // NOLINT: the same numbers every time are the point
};

}  // namespace kestrel::fuzz
