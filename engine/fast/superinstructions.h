// Which operations become one step of threaded code: a step costs a jump, whatever it does.
#pragma once

#include "engine/fast/threaded_steps.h"

#include <array>
#include <cstdint>
#include <vector>

namespace kestrel::fast {

/// A step that does an instruction, and others in front of it that are for this one.
struct Superinstruction {
    Kind kind = Kind::Count;
    Reg to = kNoReg;
    std::array<Reg, 4> in{kNoReg, kNoReg, kNoReg, kNoReg};
    Immediate imm{};
};

struct Superinstructions {
    std::vector<bool> taken;          ///< instructions that the step of a later one does
    std::vector<std::int32_t> which;  ///< of each instruction, in `all`; -1: it is a step of its own
    std::vector<Superinstruction> all;

    [[nodiscard]] const Superinstruction* at(std::size_t instruction) const {
        const std::int32_t found = which[instruction];
        return found < 0 ? nullptr : &all[static_cast<std::size_t>(found)];
    }
};

/// @param fused  of fusedConditions()
[[nodiscard]] Superinstructions superinstructionsOf(const Code& code, const std::vector<bool>& fused);

}  // namespace kestrel::fast
