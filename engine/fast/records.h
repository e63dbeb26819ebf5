// The samples of a batch by records, which lie one after the other in memory.
#pragma once

#include <cstddef>

namespace kestrel::fast {

struct Records {
    std::byte* first = nullptr;
    std::size_t stride = 0;  ///< bytes from each to the next; they do not overlap
    std::size_t count = 0;

    [[nodiscard]] std::byte* at(std::size_t sample) const noexcept { return first + sample * stride; }
};

}  // namespace kestrel::fast
