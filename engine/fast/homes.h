// Where the registers of the intermediate code lie in a machine: each in one place for as long as it is
// wanted (linear scan: M. Poletto, V. Sarkar, "Linear scan register allocation", ACM TOPLAS 21(5), 1999), so
// that nothing has to be moved where ways meet. Takes time that grows with the code alone, whatever its
// branches are.
#pragma once

#include "engine/fast/live_ranges.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace kestrel::fast {

struct Home {
    enum class Kind : std::uint8_t { None, Vector, General, Stack };
    Kind kind = Kind::None;
    std::int32_t number = 0;  ///< the machine's of a register; of a place on the stack, from 0

    [[nodiscard]] bool operator==(const Home&) const = default;
};

/// The registers of a machine that values may lie in, by their numbers. Those that are named first are taken
/// first.
struct MachineRegisters {
    std::vector<std::int32_t> vectors;
    std::vector<std::int32_t> generals;  ///< that calls do not keep, as they keep no vectors
    std::vector<std::int32_t> kept;  ///< generals that they do: who takes one must bring it back at the end
};

class Homes {
public:
    /// @param later  as for liveRanges()
    /// @param masks  of maskConditions(): these lie in vectors
    Homes(const Code& code, const std::vector<bool>& later, const std::vector<bool>& masks,
          const MachineRegisters& machine);

    [[nodiscard]] const Home& of(Reg reg) const { return homes_[static_cast<std::size_t>(reg)]; }
    /// Places on the stack, of eight bytes each.
    [[nodiscard]] std::int32_t slots() const noexcept { return slots_; }
    /// The general register is somebody's home.
    [[nodiscard]] bool takes(std::int32_t general) const { return (taken_ >> general & 1) != 0; }
    /// Calls visit(reg, slot) for each register in a vector that a call does not keep, though it is wanted
    /// behind it, with the place on the stack where it can wait.
    template <class Visit>
    void forEachAcross(std::int32_t call, const Visit& visit) const {
        auto each = std::ranges::lower_bound(across_, call, {}, &Across::call);
        for (; each != across_.end() && each->call == call; ++each)
            if (of(each->reg).kind == Home::Kind::Vector)
                visit(each->reg, waits_[static_cast<std::size_t>(each->reg)]);
    }

private:
    friend class Allocation;

    /// Wanted before the call and behind it.
    struct Across {
        std::int32_t call;
        Reg reg;
    };

    std::vector<Home> homes_;
    std::vector<Across> across_;       // in order; some have come to lie on the stack since
    std::vector<std::int32_t> waits_;  // by register: their places on the stack
    std::int32_t slots_ = 0;
    std::uint32_t taken_ = 0;  // a bit for each of the general registers
};

}  // namespace kestrel::fast
