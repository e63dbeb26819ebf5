#include "tests/allocations/allocator.h"

#include <cerrno>
#include <cstdlib>
#include <new>

namespace kestrel::test {
Allocations allocations;
}

namespace {

/// Counts an allocation. @return false when it is the one that fails
bool granted() noexcept {
    kestrel::test::Allocations& all = kestrel::test::allocations;
    ++all.made;
    if (all.failAt != 0 && all.made >= all.failAt && all.made - all.failAt < all.failures) {
        all.failed = true;
        errno = ENOMEM;
        return false;
    }
    ++all.live;
    return true;
}

void counted(const void* block) noexcept {
    if (block != nullptr) --kestrel::test::allocations.live;
}

}  // namespace

#ifdef KESTREL_SANITIZED
// The sanitizer owns malloc; what goes through operator new still counts.
void* operator new(std::size_t size) {
    if (granted())
        if (void* block = std::malloc(size)) return block;
    throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return granted() ? std::malloc(size) : nullptr;
}
void operator delete(void* block) noexcept {
    counted(block);
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    counted(block);
    std::free(block);
}
#else
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void __libc_free(void* block);

void* malloc(std::size_t size) {
    return granted() ? __libc_malloc(size) : nullptr;
}
void* calloc(std::size_t count, std::size_t size) {
    return granted() ? __libc_calloc(count, size) : nullptr;
}
void* realloc(void* block, std::size_t size) {
    if (!granted()) return nullptr;
    counted(block);
    return __libc_realloc(block, size);
}
void free(void* block) {
    counted(block);
    __libc_free(block);
}
}
#endif
