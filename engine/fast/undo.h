// What code that writes in the middle has overwritten, so that a guard which fails later can bring it back.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

namespace kestrel::fast {

/// Code appends to it; where it is full the code leaves.
struct UndoLog {
    struct Entry {
        void* place;
        std::uint64_t before;
    };
    /// Writes of a sample.
    static constexpr std::uint32_t kMost = 1024;

    std::uint32_t used = 0;  ///< bytes of the entries, for machine code
    std::array<Entry, kMost> entries;

    /// Notes the eight bytes at a place.
    /// @return false where there is no room
    [[nodiscard]] bool keep(void* place) noexcept {
        if (used >= sizeof entries) return false;
        Entry& entry = entries[used / sizeof(Entry)];
        entry.place = place;
        std::memcpy(&entry.before, place, sizeof entry.before);
        used += sizeof(Entry);
        return true;
    }

    /// Brings back what there was. The last first: a place may have been written twice.
    void takeBack() noexcept {
        for (std::size_t i = used / sizeof(Entry); i > 0; --i)
            std::memcpy(entries[i - 1].place, &entries[i - 1].before, sizeof entries[i - 1].before);
        used = 0;
    }
};

}  // namespace kestrel::fast
