#include "engine/values/pool.h"

#include "engine/values/limits.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

namespace kestrel {

namespace {

/// The address table has 2^kFirstBits buckets at first, since a host may have a thousand scripts with few
/// blocks each, and 2^kGrowthBits times as many whenever it has fewer than blocks.
constexpr int kFirstBits = 9;
constexpr int kGrowthBits = 3;
constexpr int kMostBits = 21;
constexpr std::size_t kAlign = 16;
constexpr std::size_t kMostBytes = SIZE_MAX / 2;  ///< keeps sums of sizes from wrapping around

constexpr std::uint8_t kFlagClear = 1;     ///< cleared when it was allocated and not retained since
constexpr std::uint8_t kFlagDeferred = 2;  ///< released, readable until the next purge

/// What precedes each block's user area.
struct alignas(kAlign) Header {
    Header* next;          ///< in its bucket
    Header* deferredNext;  ///< in the deferred list
    std::size_t size;      ///< of header and user area
    std::uint32_t retain;
    std::uint8_t flags;
};
static_assert(sizeof(Header) % kAlign == 0);

Header* headerOf(const void* p) noexcept {
    return reinterpret_cast<Header*>(reinterpret_cast<std::uintptr_t>(p) - sizeof(Header));
}

/// The upper bits of a product, which all bits of the address have a part in.
std::size_t bucketOf(const Header* header, int bits) noexcept {
    const std::uint64_t address = reinterpret_cast<std::uintptr_t>(header);
    return static_cast<std::size_t>(address * 0x9E3779B97F4A7C15u >> (64 - bits));
}

}  // namespace

/// Live and deferred blocks share one address table, so that a late free of a deferred block is recognised as
/// ours; a list of their own makes a purge cost what it releases and not a walk of all buckets.
struct Pool::Impl {
    std::vector<Header*> table = std::vector<Header*>(std::size_t{1} << kFirstBits);
    int bits = kFirstBits;
    std::size_t blocks = 0;  ///< in the table
    Header* deferred = nullptr;
    Exhaustion* exhaustion = nullptr;
    std::size_t limit = kMemoryLimit;
    std::size_t liveBlocks = 0;
    std::size_t liveBytes = 0;
    std::uint64_t allocations = 0;
    std::uint64_t releases = 0;

    Header*& bucket(const Header* header) noexcept { return table[bucketOf(header, bits)]; }

    void enter(Header* header) noexcept {
        if (blocks >= table.size() && bits < kMostBits) grow();
        Header*& first = bucket(header);
        header->next = first;
        first = header;
        ++blocks;
    }

    /// Without memory for a larger table the one at hand only has longer chains.
    void grow() noexcept {
        try {
            std::vector<Header*> old(table.size() << kGrowthBits);
            table.swap(old);
            bits += kGrowthBits;
            for (Header* header : old) {
                while (header != nullptr) {
                    Header*& first = bucket(header);
                    Header* const next = std::exchange(header->next, first);
                    first = std::exchange(header, next);
                }
            }
        } catch (const std::bad_alloc&) {
        }
    }

    /// After all blocks have gone. Where that fails it stays as large as it was.
    void shrink() noexcept {
        if (bits == kFirstBits) return;
        try {
            table = std::vector<Header*>(std::size_t{1} << kFirstBits);
            bits = kFirstBits;
        } catch (const std::bad_alloc&) {
        }
    }

    /// The link that points to the block of user area `p`, or null. Reads only blocks of the pool, never `p`.
    Header** find(const void* p) noexcept {
        const Header* wanted = headerOf(p);
        for (Header** link = &bucket(wanted); *link != nullptr; link = &(*link)->next)
            if (*link == wanted) return link;
        return nullptr;
    }

    void destroy(Header** link) noexcept {
        Header* header = *link;
        *link = header->next;
        --blocks;
        std::free(header);
    }

    void* fail() {
        if (exhaustion != nullptr) exhaustion->memoryExhausted();
        return nullptr;
    }
};

Pool::Pool(Exhaustion* exhaustion) : impl_(std::make_unique<Impl>()) {
    impl_->exhaustion = exhaustion;
    swept();
}

Pool::~Pool() {
    teardown();
}

void* Pool::alloc(std::size_t size, bool clear) {
    Impl& self = *impl_;
    const std::size_t room = freeBytes();
    if (size > room) return self.fail();
    const std::size_t total = (size + sizeof(Header) + kAlign - 1) / kAlign * kAlign;
    if (total > room) return self.fail();
    // malloc aligns for any type, as alignas(Header) asks.
    auto* header = static_cast<Header*>(clear ? std::calloc(1, total) : std::malloc(total));
    if (header == nullptr) return self.fail();

    self.enter(header);
    header->deferredNext = nullptr;
    header->size = total;
    header->retain = 0;
    header->flags = clear ? kFlagClear : 0;
    ++self.allocations;
    ++self.liveBlocks;
    self.liveBytes += total;
    usedBytes_ += total;
    return header + 1;
}

std::size_t Pool::freeBytes() const noexcept {
    return impl_->limit - std::min(impl_->limit, usedBytes_);
}

bool Pool::Share::resize(std::size_t bytes) noexcept {
    if (bytes > bytes_) {
        const std::size_t more = bytes - bytes_;
        if (more > pool_.freeBytes()) return false;
        pool_.grownBytes_ += more;
    }
    pool_.usedBytes_ += bytes - bytes_;  // wraps around where it shrinks
    bytes_ = bytes;
    return true;
}

void Pool::exhausted() {
    impl_->fail();
}

char* Pool::strdup(std::string_view text) {
    auto* copy = static_cast<char*>(alloc(text.size() + 1, false));
    if (copy == nullptr) return nullptr;
    if (!text.empty()) std::memcpy(copy, text.data(), text.size());
    copy[text.size()] = '\0';
    return copy;
}

char* Pool::keep(std::string_view text) {
    char* copy = strdup(text);
    if (copy != nullptr) headerOf(copy)->retain = 1;
    return copy;
}

void Pool::retain(void* p) noexcept {
    if (Header** link = impl_->find(p); link != nullptr) {
        (*link)->flags &= static_cast<std::uint8_t>(~kFlagClear);
        ++(*link)->retain;
    }
}

void Pool::free(const void* p) noexcept {
    if (p == nullptr) return;
    Impl& self = *impl_;
    Header** link = self.find(p);
    if (link == nullptr) {
        std::free(const_cast<void*>(p));
        return;
    }
    Header* header = *link;
    if (header->retain != 0 || (header->flags & kFlagDeferred) != 0) return;
    ++self.releases;
    --self.liveBlocks;
    self.liveBytes -= header->size;
    usedBytes_ -= header->size;
    self.destroy(link);
}

void Pool::release(const void* p) noexcept {
    Impl& self = *impl_;
    Header** link = self.find(p);
    if (link == nullptr) return;
    Header* header = *link;
    if (header->retain > 1) {
        --header->retain;
    } else if (header->retain == 1) {
        header->retain = 0;
        header->flags |= kFlagDeferred;
        header->deferredNext = std::exchange(self.deferred, header);
        --self.liveBlocks;
        self.liveBytes -= header->size;
        deferredBytes_ += header->size;
    }
}

void Pool::purge() noexcept {
    Impl& self = *impl_;
    while (self.deferred != nullptr) {
        Header* header = std::exchange(self.deferred, self.deferred->deferredNext);
        self.destroy(self.find(header + 1));
    }
    usedBytes_ -= std::exchange(deferredBytes_, 0);
    self.allocations = 0;
    self.releases = 0;
}

void Pool::purgeIfWorthwhile() noexcept {
    // The quotient is an integer, so "greater than 0.3" means that releases have caught up with allocations.
    const Impl& self = *impl_;
    if (self.allocations != 0 && self.releases >= self.allocations) purge();
}

void Pool::sweep(const Borrowers& borrowers) noexcept {
    Impl& self = *impl_;
    Header** at = &self.deferred;
    while (*at != nullptr) {
        Header* header = *at;
        if (borrowers.borrows(header + 1)) {
            at = &header->deferredNext;
            continue;
        }
        *at = header->deferredNext;
        deferredBytes_ -= header->size;
        usedBytes_ -= header->size;
        self.destroy(self.find(header + 1));
    }
}

void Pool::teardown() noexcept {
    Impl& self = *impl_;
    if (self.liveBlocks != 0 || self.deferred != nullptr) {
        for (Header*& bucket : self.table)
            while (bucket != nullptr) self.destroy(&bucket);
    }
    self.shrink();
    usedBytes_ -= self.liveBytes + deferredBytes_;
    self.deferred = nullptr;
    self.liveBlocks = 0;
    self.liveBytes = 0;
    deferredBytes_ = 0;
    grownBytes_ = 0;
    self.allocations = 0;
    self.releases = 0;
}

std::size_t Pool::liveBlocks() const noexcept {
    return impl_->liveBlocks;
}
std::size_t Pool::liveBytes() const noexcept {
    return impl_->liveBytes;
}
std::uint64_t Pool::allocations() const noexcept {
    return impl_->allocations;
}
std::uint64_t Pool::releases() const noexcept {
    return impl_->releases;
}
void Pool::setLimit(std::size_t bytes) noexcept {
    impl_->limit = std::min(bytes, kMostBytes);
    swept();
}

void Pool::swept() noexcept {
    // A share of what is there, so that sweeping costs no more than filling; the closer to the limit, the
    // sooner.
    const std::size_t limit = impl_->limit;
    const std::size_t wanted = std::max(usedBytes_ / 4, limit / 32);
    sweepAt_ = usedBytes_ + std::min(wanted, std::max(freeBytes() / 2, limit / 256));
}

}  // namespace kestrel
