// Machine code that shades groups of samples, one in each lane of the machine's vectors.
//
// It does the same as the code for one sample: lanes are masked where their ways part, the C library's
// functions are called for one lane after the other. A guard that fails in one lane leaves with the whole
// group, before anything of it was written: then its samples are shaded one by one.
#pragma once

#include "engine/fast/code.h"
#include "engine/fast/columns.h"
#include "engine/fast/native.h"
#include "engine/fast/records.h"

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

namespace kestrel::fast {

/// A number of the record that code reads or writes.
struct RecordAccess {
    std::int64_t offset;
    bool whole;
    bool written;
};

class BatchCode {
public:
    static constexpr int kMostLanes = 8;
    /// The samples that runRecords() takes at a time: 25 KB, which stay in the processor's first cache.
    static constexpr std::size_t kMostRecords = 64;
    /// The lanes that this machine has instructions for: 8, 4 or 0.
    [[nodiscard]] static int machineLanes() noexcept;

    /// @param memory  outlives the code
    /// @param lanes   of a group, 4 or 8; 0: as many as the machine has
    /// @return null where no code can be made: samples are not independent() of their order, the machine
    ///         lacks instructions for so many lanes, the system refuses executable memory
    [[nodiscard]] static std::unique_ptr<BatchCode> make(const Code& code, CodeMemory& memory, int lanes);
    ~BatchCode();
    BatchCode(const BatchCode&) = delete;
    BatchCode& operator=(const BatchCode&) = delete;

    [[nodiscard]] std::size_t lanes() const noexcept { return lanes_; }

    /// Says where the samples are: before run(), and after each change of the columns. Allocates nothing.
    void bind(const Columns& columns) noexcept;
    /// Shades samples, group by group.
    /// @param end  a multiple of lanes() behind `first`
    /// @return `end`, or the first sample of a group that has left: nothing was written for it
    [[nodiscard]] std::size_t run(std::size_t first, std::size_t end) const noexcept {
        return entry_(places_.data(), first, end);
    }

    /// Shades samples in records, group by group, by way of planes that the code has for them. Another bind()
    /// is needed after it.
    /// @param end  a multiple of lanes() behind `first`, at most kMostRecords
    /// @return how many were shaded: all, or those before a group that has left, which is as it was
    [[nodiscard]] std::size_t runRecords(const Records& records, std::size_t first, std::size_t end) noexcept;

    /// What the code has of an access.
    struct Place {
        const void* data;
        std::uint64_t each;  ///< all bits where each sample has its own, 0 where all have the first
    };

private:
    using Entry = std::size_t (*)(const Place* places, std::size_t first, std::size_t end);
    BatchCode(CodeMemory& memory, Entry entry, std::size_t bytes, std::size_t lanes,
              std::vector<RecordAccess> accesses);
    [[nodiscard]] bool hasPlanes() noexcept;

    CodeMemory& memory_;
    Entry entry_;
    std::size_t bytes_;
    std::size_t lanes_;
    std::vector<RecordAccess> accesses_;
    std::vector<Place> places_;  // of each access
    // For each access, what all lanes read where there is no column, and where they write to be dropped.
    std::vector<std::array<double, kMostLanes>> common_;
    std::unique_ptr<double[]> planes_;  // of each access, kMostRecords numbers; made with the first records
};

}  // namespace kestrel::fast
