// The tracked memory pool: all run-time data of one script, released as a whole with it.
#pragma once

#include "engine/values/value.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace kestrel {

/// Blocks are registered in a hash table by address, so that releasing a foreign pointer is safe. A retained
/// block is left alone by `free`; `release` of a block retained once moves it to a second, deferred table
/// where it stays readable until the next purge (values on the stack may still borrow it).
class Pool {
public:
    /// Called on exhaustion: reports and sets the abort flag.
    class Exhaustion {
    public:
        virtual ~Exhaustion() = default;
        virtual void memoryExhausted() = 0;
    };
    /// Asked before a purge in the middle of a run whether a block is still borrowed.
    class Borrowers {
    public:
        virtual ~Borrowers() = default;
        [[nodiscard]] virtual bool borrows(const void* block) const = 0;
    };

    explicit Pool(Exhaustion* exhaustion);
    ~Pool();
    Pool(const Pool&) = delete;
    Pool& operator=(const Pool&) = delete;

    /// @return a block aligned for any type, or null after reporting exhaustion
    [[nodiscard]] void* alloc(std::size_t size, bool clear);
    /// @return a NUL-terminated copy (cut at an embedded NUL by whoever reads it), or null after reporting
    [[nodiscard]] char* strdup(std::string_view text);
    /// A copy retained once: what variables, elements and record members keep.
    [[nodiscard]] char* keep(std::string_view text);
    void retain(void* p) noexcept;
    /// Releases a block that is not retained; leaves a retained one; a pointer not of this pool goes to
    /// std::free.
    void free(const void* p) noexcept;
    /// Retained once: to the deferred table. Retained more often: one less. Not retained or unknown: nothing.
    void release(const void* p) noexcept;
    /// Releases every deferred block and zeroes the counters.
    void purge() noexcept;
    /// The purge after a top-level call from the host: only when releases / allocations > 0.3 (integer
    /// quotient).
    void purgeIfWorthwhile() noexcept;
    /// Releases those deferred blocks that nobody borrows; for long runs that never return to the host.
    void sweep(const Borrowers& borrowers) noexcept;
    /// Releases everything. The pool is usable again afterwards.
    void teardown() noexcept;

    /// Memory of the script that lies elsewhere, such as the elements of its arrays, and counts against the
    /// same limit.
    class Share {
    public:
        explicit Share(Pool& pool) noexcept : pool_(pool) {}
        ~Share() { pool_.usedBytes_ -= bytes_; }
        Share(const Share&) = delete;
        Share& operator=(const Share&) = delete;

        /// The whole size from now on.
        /// @return false where more than the limit grants was wanted; nothing has changed then, nor been
        /// reported
        [[nodiscard]] bool resize(std::size_t bytes) noexcept;

    private:
        Pool& pool_;
        std::size_t bytes_ = 0;
    };
    /// Reports that memory is exhausted.
    void exhausted();

    /// All that counts against the limit.
    [[nodiscard]] std::size_t usedBytes() const noexcept { return usedBytes_; }
    /// So much has come together since swept() that letting go of what is lost is worth while.
    [[nodiscard]] bool overdue() const noexcept { return usedBytes_ >= sweepAt_; }
    void swept() noexcept;
    /// By how much shares have grown since collected(): what there may be to let go of elsewhere.
    [[nodiscard]] std::size_t grownBytes() const noexcept { return grownBytes_; }
    void collected() noexcept { grownBytes_ = 0; }
    [[nodiscard]] std::size_t deferredBytes() const noexcept { return deferredBytes_; }
    [[nodiscard]] std::size_t liveBlocks() const noexcept;
    [[nodiscard]] std::size_t liveBytes() const noexcept;
    [[nodiscard]] std::uint64_t allocations() const noexcept;
    [[nodiscard]] std::uint64_t releases() const noexcept;
    /// Largest total that `alloc` and shares grant, in bytes. kMemoryLimit at first.
    void setLimit(std::size_t bytes) noexcept;

private:
    struct Impl;
    [[nodiscard]] std::size_t freeBytes() const noexcept;

    std::unique_ptr<Impl> impl_;
    std::size_t deferredBytes_ = 0;  // here, because these are looked at after every statement
    std::size_t grownBytes_ = 0;
    std::size_t usedBytes_ = 0;
    std::size_t sweepAt_ = 0;
};

/// Frees the text that a cell itself owns, which no other has.
inline void freeOwned(Pool& pool, const ValueCell& cell) noexcept {
    if (cell.type == TempString) pool.free(cell.text);
}

}  // namespace kestrel
