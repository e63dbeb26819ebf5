// Takes the place of the program's allocator: counts, and can let an allocation fail. One for each program
// that links it; what a loaded module allocates goes through it, too.
#pragma once

#include <cstddef>

namespace kestrel::test {

struct Allocations {
    std::size_t made = 0;      ///< since the start of the program
    std::ptrdiff_t live = 0;   ///< made and not released since
    std::size_t failAt = 0;    ///< the first that fails, counted in `made`; 0: none
    std::size_t failures = 0;  ///< how many fail from there on
    bool failed = false;       ///< it has been asked for
};
extern Allocations allocations;

/// While it lives, the n-th allocation from its beginning on fails, and so do the next.
class FailingAllocation {
public:
    explicit FailingAllocation(std::size_t n, std::size_t failures = 1) {
        allocations.failed = false;
        allocations.failures = failures;
        allocations.failAt = n != 0 ? allocations.made + n : 0;
    }
    ~FailingAllocation() { allocations.failAt = 0; }
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
};

}  // namespace kestrel::test
