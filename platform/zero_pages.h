// Memory that takes none before it is used.
#pragma once

#include <cstddef>
#include <memory>
#include <type_traits>

namespace kestrel::platform {

struct ReleasePages {
    std::size_t bytes = 0;
    void operator()(void* pages) const noexcept;
};

/// Pages of the system, all zeros; one that nobody has touched takes no memory.
/// @throws std::bad_alloc
[[nodiscard]] std::unique_ptr<void, ReleasePages> zeroPages(std::size_t bytes);

/// An array of what may begin as zeros.
template <class T>
class ZeroArray {
    static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);

public:
    /// @throws std::bad_alloc
    explicit ZeroArray(std::size_t count) : pages_(zeroPages(count * sizeof(T))) {}
    [[nodiscard]] T* get() const noexcept { return static_cast<T*>(pages_.get()); }
    [[nodiscard]] T& operator[](std::size_t i) const noexcept { return get()[i]; }

private:
    std::unique_ptr<void, ReleasePages> pages_;
};

}  // namespace kestrel::platform
