// Numbers in numbered groups: all in one piece of memory, however many groups there are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <numeric>
#include <span>
#include <vector>

namespace kestrel::fast {

class Groups {
public:
    /// @param forEach  called twice with a function visit(group, number); gives it the same both times, those
    ///                 of a group in order
    template <class ForEach>
    Groups(std::size_t groups, const ForEach& forEach) : ends_(groups + 1, 0) {
        forEach([this](std::size_t group, std::int32_t) { ++ends_[group + 1]; });
        std::inclusive_scan(ends_.begin(), ends_.end(), ends_.begin());
        numbers_.resize(ends_.back());
        // The end of the group before moves on to be the group's own.
        forEach([this](std::size_t group, std::int32_t number) { numbers_[ends_[group]++] = number; });
    }

    [[nodiscard]] std::span<const std::int32_t> operator[](std::size_t group) const {
        const std::size_t begin = group == 0 ? 0 : ends_[group - 1];
        return std::span(numbers_).subspan(begin, ends_[group] - begin);
    }

private:
    std::vector<std::uint32_t> ends_;
    std::vector<std::int32_t> numbers_;
};

}  // namespace kestrel::fast
