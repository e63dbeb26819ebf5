// What an instruction does to the stack, by its row in the table and by its mode.
#pragma once

#include "engine/program/program.h"

namespace kestrel {

/// The columns `pops` and `pushes` of opcodes.def.
struct StackEffect {
    int pops = 0;
    int pushes = 0;

    [[nodiscard]] constexpr bool isFixed() const noexcept { return pushes >= 0; }
    /// True when a running function that owned `before` cells may own `after` of them now.
    [[nodiscard]] constexpr bool allows(int before, int after) const noexcept {
        if (before < pops || after < 0) return false;
        if (pushes == kEmpties) return after == 0;
        return !isFixed() || after == before - pops + pushes;
    }
};

/// The effect of a node that is linked, with the row of its code.
[[nodiscard]] StackEffect effectOf(const CodeNode& node, const OpcodeInfo& row) noexcept;
[[nodiscard]] StackEffect effectOf(const CodeNode& node) noexcept;
/// Both, one after the other.
[[nodiscard]] StackEffect followedBy(StackEffect first, StackEffect second) noexcept;

/// Only marks its place: the plain loop passes over it.
[[nodiscard]] bool isMarker(const CodeNode& node) noexcept;

}  // namespace kestrel
