#include "platform/zero_pages.h"

#include <sys/mman.h>

#include <new>

namespace kestrel::platform {

void ReleasePages::operator()(void* pages) const noexcept {
    ::munmap(pages, bytes);
}

std::unique_ptr<void, ReleasePages> zeroPages(std::size_t bytes) {
    void* const pages = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) throw std::bad_alloc();
    return {pages, ReleasePages{bytes}};
}

}  // namespace kestrel::platform
