// Which operations become one step of threaded code: a step costs a jump, whatever it does.
#pragma once

#include "engine/fast/threaded_steps.h"

#include <cstdint>
#include <vector>

namespace kestrel::fast {

/// A step that stands for an instruction, and for others that only make what it takes.
struct Join {
    Kind kind = Kind::Count;
    Reg to = kNoReg;
    std::array<Reg, 4> in{kNoReg, kNoReg, kNoReg, kNoReg};
    Immediate imm{};
};

struct Joins {
    std::vector<bool> taken;          ///< instructions that a later one stands for
    std::vector<std::int32_t> which;  ///< of each instruction, its join; -1: none
    std::vector<Join> joins;

    [[nodiscard]] const Join* at(std::size_t instruction) const {
        const std::int32_t found = which[instruction];
        return found < 0 ? nullptr : &joins[static_cast<std::size_t>(found)];
    }
};

/// @param fused  of fusedConditions()
[[nodiscard]] Joins joinsOf(const Code& code, const std::vector<bool>& fused);

}  // namespace kestrel::fast
